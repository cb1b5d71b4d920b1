// A mail server in memory: it takes or refuses as it is told, when the test turns the loop.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ports/mail.h"

namespace vantry {

class FakeMail final : public Mail {
 public:
  std::vector<MailMessage> sent;    // Every message handed over, in order, whatever came of it.
  std::deque<Status> answers;       // How the next ones end.
  Status answer;                    // How they end when there are no more of these.
  bool temporary = false;           // Refusals are for now.
  bool silent = false;              // At the end nobody has answered.
  std::vector<MailLine> lines;      // Where those that were asked for go.
  std::optional<int64_t> finished;  // The time given for the end.

  using Mail::Send;
  uint64_t Send(MailMessage message, MailDone done, MailLine line) override {
    if (line) lines.push_back(std::move(line));
    const bool late = finished && (*finished <= 0 || silent);
    if (!late) sent.push_back(message);
    under_way_.push_back({std::move(message), std::move(done), late, ++last_number_});
    return last_number_;
  }
  void Forget(uint64_t number) override {
    std::erase_if(under_way_, [number](const UnderWay& mail) { return mail.number == number; });
  }
  void Finish(int64_t ms) override {
    finished = ms;
    for (UnderWay& mail : under_way_) mail.late = mail.late || ms <= 0 || silent;
    Turn();
  }
  // The servers answer, until nothing is under way.
  void Turn() {
    while (!under_way_.empty()) TurnOnce();
  }
  // One of them does.
  void TurnOnce() {
    UnderWay mail = std::move(under_way_.front());
    under_way_.pop_front();
    mail.done(OutcomeOf(mail));
  }
  // The program that was sending them is gone.
  void Forget() { under_way_.clear(); }
  size_t UnderWayCount() const { return under_way_.size(); }

 private:
  struct UnderWay {
    MailMessage message;
    MailDone done;
    bool late;  // After the end.
    uint64_t number;
  };
  MailOutcome OutcomeOf(const UnderWay& mail) {
    Status status = answer;
    if (mail.late) {
      status = Status::Error(Fail::kIo, mail.message.server + ": the time for sending mail is up");
    } else if (!answers.empty()) {
      status = answers.front();
      answers.pop_front();
    }
    if (!status.ok()) return {status, {status.text}, temporary && status.fail == Fail::kRefused};
    std::string names;
    for (const std::string& name : mail.message.recipients) names += (names.empty() ? "" : ", ") + name;
    return {status, {mail.message.server + " took the mail for " + names + ": 250 OK"}};
  }

  std::deque<UnderWay> under_way_;
  uint64_t last_number_ = 0;
};

}  // namespace vantry
