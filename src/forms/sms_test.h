// Tries whether an SMS server answers, on a connection of its own: the queue of short messages is left alone.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "ports/line_client.h"

namespace vantry {

struct SmsTestEvents {
  // What happens, line by line.
  std::function<void(std::string_view line)> line;
  // The end, and what is to be said about it.
  std::function<void(bool passed, const std::string& text)> done;
};

class SmsTest {
 public:
  // How long somebody should wait for the end before TimeIsUp.
  static constexpr int kPatienceMs = 20'000;

  SmsTest(std::unique_ptr<LineClient> client, const Settings& draft, std::string version, SmsTestEvents events);
  // Ends in the event, unless the test is destroyed before. It must not be destroyed from within an event.
  void Start();
  void TimeIsUp() { Failed("no answer within " + std::to_string(kPatienceMs / 1'000) + " s"); }
  bool Over() const { return over_; }

 private:
  void Connected(int code, std::string_view description);
  void Answered(std::string_view reply);
  void Failed(std::string_view why);
  void End(bool passed, const std::string& text);

  std::string host_;
  int32_t port_;
  std::string version_;
  SmsTestEvents events_;
  bool over_ = false;
  std::unique_ptr<LineClient> client_;  // Goes first: nothing is told any more.
};

}  // namespace vantry
