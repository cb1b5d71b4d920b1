// What every sender of mail promises, tried on the real one and on the fake that other tests use.
#include <QCoreApplication>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/curl_mail.h"
#include "platform/scripted_mail_server.h"
#include "support/fake_mail.h"

namespace vantry {
namespace {

struct Subject {
  virtual ~Subject() = default;
  virtual Mail& Get() = 0;
  virtual std::string Server() = 0;
  // The next message is refused with these words.
  virtual void Refuse(const std::string& words) = 0;
  // Turns the loop until this holds.
  virtual void TurnUntil(const std::function<bool()>& holds) = 0;
};

struct FakeSubject final : Subject {
  FakeMail mail;
  Mail& Get() override { return mail; }
  std::string Server() override { return "mail.example.org:25"; }
  void Refuse(const std::string& words) override {
    mail.answers.push_back(Status::Error(Fail::kRefused, Server() + ": " + words));
  }
  void TurnUntil(const std::function<bool()>& holds) override {
    while (!holds()) mail.TurnOnce();
  }
};

struct RealSubject final : Subject {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  ScriptedMailServer server;
  CurlMail mail;
  Mail& Get() override { return mail; }
  std::string Server() override { return server.Place(); }
  void Refuse(const std::string& words) override {
    server.answer = [this, words](const std::string& line) {
      if (line != ".") return ScriptedMailServer::Good(line);
      const std::string refusal = words + "\r\n";  // The next line takes these away.
      server.answer = &ScriptedMailServer::Good;
      return refusal;
    };
  }
  void TurnUntil(const std::function<bool()>& holds) override {
    while (!holds()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
};

struct MailContract : ::testing::TestWithParam<bool> {
  std::unique_ptr<Subject> subject;
  std::vector<MailOutcome> outcomes;

  MailContract() {
    if (GetParam()) {
      subject = std::make_unique<RealSubject>();
    } else {
      subject = std::make_unique<FakeSubject>();
    }
  }
  uint64_t Start(MailDone done) {
    MailMessage message;
    message.server = subject->Server();
    message.sender = "monitor@example.org";
    message.recipients = {"a@x", "b@x"};
    message.headers = {"Subject: Hello"};
    message.body = "text\n";
    return subject->Get().Send(std::move(message), std::move(done));
  }
  uint64_t Start() {
    return Start([this](const MailOutcome& outcome) { outcomes.push_back(outcome); });
  }
  MailOutcome Send() {
    const size_t before = outcomes.size();
    Start();
    EXPECT_EQ(outcomes.size(), before) << "never from inside the call";
    subject->TurnUntil([&] { return outcomes.size() > before; });
    return outcomes.back();
  }
};

TEST_P(MailContract, TakenAndTold) {
  const MailOutcome outcome = Send();
  EXPECT_TRUE(outcome.status.ok());
  ASSERT_EQ(outcome.lines.size(), 1u);
  EXPECT_TRUE(StartsWith(outcome.lines[0], subject->Server() + " took the mail for a@x, b@x: 250 OK"));
}

TEST_P(MailContract, RefusedAndTold) {
  subject->Refuse("552 too large");
  const MailOutcome outcome = Send();
  EXPECT_EQ(outcome.status.fail, Fail::kRefused);
  EXPECT_EQ(outcome.status.text, subject->Server() + ": 552 too large");
  EXPECT_EQ(outcome.lines, std::vector<std::string>{outcome.status.text});
  EXPECT_TRUE(Send().status.ok());
}

TEST_P(MailContract, WhoIsToldMaySend) {
  Start([&](const MailOutcome& outcome) {
    EXPECT_TRUE(outcome.status.ok());
    Start();
  });
  subject->TurnUntil([&] { return !outcomes.empty(); });
  EXPECT_TRUE(outcomes[0].status.ok());
}

TEST_P(MailContract, NobodyIsToldOfOneThatIsForgotten) {
  const uint64_t first = Start([](const MailOutcome&) { FAIL(); });
  const uint64_t second = Start();
  EXPECT_TRUE(first > 0 && second > 0 && first != second);
  subject->Get().Forget(first);
  subject->TurnUntil([&] { return !outcomes.empty(); });
  subject->Get().Forget(second);  // That one is over.
  subject->Get().Finish(1'000);
  EXPECT_EQ(outcomes.size(), 1u);
}

TEST_P(MailContract, NothingGoesOutWhenTheTimeIsUp) {
  Start([&](const MailOutcome& outcome) {
    outcomes.push_back(outcome);
    Start();
  });
  subject->Get().Finish(0);
  ASSERT_EQ(outcomes.size(), 2u) << "without a turn of the loop";
  for (const MailOutcome& outcome : outcomes) {
    EXPECT_EQ(outcome.status.fail, Fail::kIo);
    EXPECT_EQ(outcome.status.text, subject->Server() + ": the time for sending mail is up");
    EXPECT_EQ(outcome.lines, std::vector<std::string>{outcome.status.text});
  }
  EXPECT_EQ(Send().status.fail, Fail::kIo) << "later neither";
}

INSTANTIATE_TEST_SUITE_P(Senders, MailContract, ::testing::Bool(),
                         [](const auto& given) { return given.param ? "Real" : "Fake"; });

}  // namespace
}  // namespace vantry
