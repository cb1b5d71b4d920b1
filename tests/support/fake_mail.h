// A mail server in memory: it takes or refuses as it is told, and things can happen while it does.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ports/mail.h"

namespace vantry {

class FakeMail final : public Mail {
 public:
  std::vector<MailMessage> sent;                   // Every message handed over, in order, whatever came of it.
  std::deque<Status> answers;                      // How the next ones end; well when there is none.
  std::function<void(const MailMessage&)> during;  // Runs inside Send, as handlers do while the loop turns.
  std::optional<int64_t> time_left;                // As it was set.
  int under_way = 0, waits = 0;

  Status Send(const MailMessage& message, const std::function<void(std::string_view)>& status) override {
    Status result = Status::Ok();
    if (time_left && *time_left <= 0) {
      result = Status::Error(Fail::kIo, message.server + ": the time for sending mail is up");
    } else {
      sent.push_back(message);
      if (!answers.empty()) {
        result = answers.front();
        answers.pop_front();
      }
      ++under_way;
      if (during) during(message);
      --under_way;
    }
    if (status)
      status(result.ok() ? message.server + " took the mail for " + Names(message) + ": 250 OK" : result.text);
    return result;
  }
  void SetTimeLeft(int64_t ms) override { time_left = ms; }
  void WaitForAll() override { ++waits; }

 private:
  static std::string Names(const MailMessage& message) {
    std::string names;
    for (const std::string& recipient : message.recipients) names += (names.empty() ? "" : ", ") + recipient;
    return names;
  }
};

}  // namespace vantry
