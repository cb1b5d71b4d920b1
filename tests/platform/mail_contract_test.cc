// What every sender of mail promises, tried on the real one and on the fake that other tests use.
#include <QCoreApplication>
#include <QTimer>
#include <memory>

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
  // Runs inside the next Send.
  virtual void Meanwhile(std::function<void()> what) = 0;
};

struct FakeSubject final : Subject {
  FakeMail mail;
  Mail& Get() override { return mail; }
  std::string Server() override { return "mail.example.org:25"; }
  void Refuse(const std::string& words) override {
    mail.answers.push_back(Status::Error(Fail::kRefused, Server() + ": " + words));
  }
  void Meanwhile(std::function<void()> what) override {
    mail.during = [this, what](const MailMessage&) {
      const auto now = what;  // The next line takes this away.
      mail.during = nullptr;
      now();
    };
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
  void Meanwhile(std::function<void()> what) override { QTimer::singleShot(0, &application, std::move(what)); }
};

struct MailContract : ::testing::TestWithParam<bool> {
  std::unique_ptr<Subject> subject;
  std::vector<std::string> lines;

  MailContract() {
    if (GetParam()) {
      subject = std::make_unique<RealSubject>();
    } else {
      subject = std::make_unique<FakeSubject>();
    }
  }
  Status Send() {
    MailMessage message;
    message.server = subject->Server();
    message.sender = "monitor@example.org";
    message.recipients = {"a@x", "b@x"};
    message.headers = {"Subject: Hello"};
    message.body = "text\n";
    return subject->Get().Send(message, [this](std::string_view line) { lines.emplace_back(line); });
  }
};

TEST_P(MailContract, TakenAndTold) {
  EXPECT_TRUE(Send().ok());
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(StartsWith(lines[0], subject->Server() + " took the mail for a@x, b@x: 250 OK")) << lines[0];
}

TEST_P(MailContract, RefusedAndTold) {
  subject->Refuse("552 too large");
  const Status status = Send();
  EXPECT_EQ(status.fail, Fail::kRefused);
  EXPECT_EQ(status.text, subject->Server() + ": 552 too large");
  EXPECT_EQ(lines, std::vector<std::string>{status.text});
  EXPECT_TRUE(Send().ok());
}

TEST_P(MailContract, HandlersRunInsideAndMaySend) {
  bool inside = false, inner_ok = false;
  subject->Meanwhile([&] {
    inside = lines.empty();
    inner_ok = Send().ok();
  });
  EXPECT_TRUE(Send().ok());
  EXPECT_TRUE(inside);
  EXPECT_TRUE(inner_ok);
  EXPECT_EQ(lines.size(), 2u);
}

TEST_P(MailContract, NothingGoesOutWhenTheTimeIsUp) {
  subject->Get().SetTimeLeft(60'000);
  EXPECT_TRUE(Send().ok());
  subject->Get().SetTimeLeft(0);
  const Status status = Send();
  EXPECT_EQ(status.fail, Fail::kIo);
  EXPECT_EQ(status.text, subject->Server() + ": the time for sending mail is up");
  EXPECT_EQ(lines.back(), status.text);
  subject->Get().WaitForAll();
}

INSTANTIATE_TEST_SUITE_P(Senders, MailContract, ::testing::Bool(),
                         [](const auto& given) { return given.param ? "Real" : "Fake"; });

}  // namespace
}  // namespace vantry
