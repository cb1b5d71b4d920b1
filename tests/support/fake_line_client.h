// A line client whose far end is the test.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ports/line_client.h"

namespace vantry {

class FakeLineClient final : public LineClient {
 public:
  std::vector<std::string> calls;  // "connect HOST PORT MARK", "send BYTES", "close", in order.
  bool connected = false, connecting = false;
  std::string breaks;  // A text with which Connect and Send throw, as a full memory does.

  void OnEvents(LineClientEvents events) override { events_ = std::move(events); }
  void Connect(const std::string& host, int32_t port, const std::string& end_of_line) override {
    MayBreak();
    if (connected || connecting) return;
    connecting = true;
    calls.push_back("connect " + host + " " + std::to_string(port) + " " + end_of_line);
  }
  bool IsConnected() const override { return connected; }
  void Send(std::string_view bytes) override {
    MayBreak();
    if (connected) calls.push_back("send " + std::string(bytes));
  }
  void Close() override {
    connected = connecting = false;
    calls.emplace_back("close");
  }

  // The far end takes the connection.
  void Accept() {
    connecting = false;
    connected = true;
    events_.connected(0, "");
  }
  void Refuse(int code, std::string_view description) {
    connecting = false;
    events_.connected(code, description);
  }
  void Reply(std::string_view text) { events_.data_in(text); }
  void Lose() {
    connected = false;
    if (events_.lost) events_.lost("The remote host closed the connection");
  }

  // The calls since the last time.
  std::vector<std::string> Take() { return std::exchange(calls, {}); }

 private:
  void MayBreak() const {
    if (!breaks.empty()) throw std::runtime_error(breaks);
  }
  LineClientEvents events_;
};

}  // namespace vantry
