#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

// A long text in pieces: appends the next one, maybe nothing, to `out`. False when that was the last. A call takes a
// millisecond at most.
using PieceSource = std::function<bool(std::string& out)>;

inline constexpr int kMaxConnections = 100;

// What speaks for a connection when callers wait for a place.
enum class Claim {
  kNone,       // Silent, or in its request.
  kConsole,    // It sends control lines, and may be silent for long between two of them.
  kAnswering,  // Its request has come and waits for us.
  kSlowed,     // Its answer is held back on purpose: it goes before anybody else.
};

// What a listener tells. Connection numbers are 1 to kMaxConnections, the lowest free one for each new caller.
struct ListenerEvents {
  std::function<void(int connection)> connected;
  std::function<void(int connection)> disconnected;
  // Bytes as they came; the view holds during the call alone.
  std::function<void(int connection, std::string_view bytes)> data;
  // The peer will send nothing more but may still read.
  std::function<void(int connection)> peer_done;
  // Asked while callers wait for a place.
  std::function<Claim(int connection)> claim;
};

// A TCP server. Callers beyond kMaxConnections wait until a place is free. Those who hold one give it up for them after
// 10 s of silence or 15 s after the first byte of a request that has not ended, and at once where their address holds
// more than half of the places and somebody of another one waits. Those whose answer is held back on purpose go first,
// consoles when nobody else is left.
class Listener {
 public:
  virtual ~Listener() = default;
  // `address` empty listens on all addresses. A failure names address and port.
  virtual Status Listen(const std::string& address, uint16_t port, ListenerEvents events) = 0;
  // Queues bytes; what a full socket does not take now goes out as the peer reads. Ignored for a closed connection.
  virtual void Send(int connection, std::string_view bytes) = 0;
  // Sends a text whose pieces are asked for as the peer reads, so that it is never whole in memory. Nothing can be sent
  // after it; Close lets it go on.
  virtual void SendPieces(int connection, PieceSource next) = 0;
  // Closes once everything queued has gone out, or at once when `flush` is false. `disconnected` follows.
  virtual void Close(int connection, bool flush = true) = 0;
  virtual bool IsOpen(int connection) const = 0;
  virtual std::string RemoteHost(int connection) const = 0;
  virtual int RemotePort(int connection) const = 0;
  // Tries for a short, bounded time to get queued bytes out, then closes everything and stops listening.
  virtual void Shutdown() = 0;
};

}  // namespace vantry
