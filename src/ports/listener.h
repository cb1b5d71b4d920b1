#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

inline constexpr int kMaxConnections = 100;

// What a listener tells. Connection numbers are 1 to kMaxConnections, the lowest free one for each new caller.
struct ListenerEvents {
  std::function<void(int connection)> connected;
  std::function<void(int connection)> disconnected;
  // Bytes as they came; the view holds during the call alone.
  std::function<void(int connection, std::string_view bytes)> data;
  // The peer will send nothing more but may still read.
  std::function<void(int connection)> peer_done;
  // While callers wait for a place: whether this connection may be closed for them once it has been silent long enough.
  std::function<bool(int connection)> may_be_displaced;
};

// A TCP server. Callers beyond kMaxConnections wait until a place is free.
class Listener {
 public:
  virtual ~Listener() = default;
  // `address` empty listens on all addresses. A failure names address and port.
  virtual Status Listen(const std::string& address, uint16_t port, ListenerEvents events) = 0;
  // Queues bytes; what a full socket does not take now goes out as the peer reads. Ignored for a closed connection.
  virtual void Send(int connection, std::string_view bytes) = 0;
  // Closes once everything queued has gone out, or at once when `flush` is false. `disconnected` follows.
  virtual void Close(int connection, bool flush = true) = 0;
  virtual bool IsOpen(int connection) const = 0;
  virtual std::string RemoteHost(int connection) const = 0;
  virtual int RemotePort(int connection) const = 0;
  // Tries for a short, bounded time to get queued bytes out, then closes everything and stops listening.
  virtual void Shutdown() = 0;
};

}  // namespace vantry
