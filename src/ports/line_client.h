#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vantry {

struct LineClientEvents {
  // How an attempt to connect ended: code 0 for success, otherwise `description` says what went wrong.
  std::function<void(int code, std::string_view description)> connected;
  // One message without its end.
  std::function<void(std::string_view text)> data_in;
  // The far end, or a mistake on the way, ended an open connection; after its last message. May be empty.
  std::function<void(std::string_view description)> lost = {};
};

// A TCP client for text protocols with an end-of-line mark. It reconnects as often as it is asked to.
class LineClient {
 public:
  virtual ~LineClient() = default;
  // Set once, before the first Connect. Events come only from the loop, never from inside another call of this class.
  virtual void OnEvents(LineClientEvents events) = 0;
  // Starts to connect and returns; `connected` follows. Nothing happens while a connection is open or being made.
  // Messages that arrive end with `end_of_line`.
  virtual void Connect(const std::string& host, int32_t port, const std::string& end_of_line) = 0;
  virtual bool IsConnected() const = 0;
  // Queues bytes unchanged. Ignored without a connection.
  virtual void Send(std::string_view bytes) = 0;
  // Ends a connection or an attempt without an event; queued bytes still go out if they can.
  virtual void Close() = 0;
};

}  // namespace vantry
