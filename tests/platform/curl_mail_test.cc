// Mail against servers on loopback, good and bad. No wait here is longer than the limits given to the sender.
#include "platform/curl_mail.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <algorithm>
#include <chrono>
#include <fstream>
#include <future>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/text.h"
#include "platform/scripted_mail_server.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

using Texts = std::vector<std::string>;
using Outcomes = std::vector<MailOutcome>;

struct CurlMailTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  ScriptedMailServer server;
  MailMessage message;
  Texts lines;
  std::unique_ptr<CurlMail> mail = std::make_unique<CurlMail>();

  CurlMailTest() {
    message.server = server.Place();
    message.sender = "monitor@example.org";
    message.recipients = {"a@example.org"};
    message.headers = {"From: monitor@example.org", "Subject: Hello"};
    message.body = "One line\n";
  }
  // Waits this long at most, each time.
  void Limit(int ms) { mail = std::make_unique<CurlMail>(MailLimits{ms, ms, 20 * ms}); }
  void Start(const MailMessage& m, Outcomes& outcomes) {
    mail->Send(m, [&](const MailOutcome& outcome) { outcomes.push_back(outcome); });
  }
  static void TurnUntil(const std::function<bool()>& holds) {
    while (!holds()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  Status Send(const MailMessage& m) {
    Outcomes outcomes;
    Start(m, outcomes);
    TurnUntil([&] { return !outcomes.empty(); });
    lines.insert(lines.end(), outcomes[0].lines.begin(), outcomes[0].lines.end());
    return outcomes[0].status;
  }
  Status Send() { return Send(message); }
  // A refusal or failure with this text after the name of the server, told once more as the last status line.
  void ExpectFailure(Fail fail, const std::string& text) {
    const Status status = Send();
    EXPECT_EQ(status.fail, fail);
    EXPECT_EQ(status.text, server.Place() + ": " + text);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), status.text);
  }
  // Answers lines that begin like this with `text`, everything else well.
  void AnswerTo(const std::string& start, const std::string& text) {
    server.answer = [=](const std::string& line) {
      const bool meant = start.empty() ? line.empty() : StartsWith(line, start);
      return meant ? text : ScriptedMailServer::Good(line);
    };
  }
  std::string OnlyMail() {
    EXPECT_EQ(server.mails.size(), 1u);
    return server.mails.empty() ? "" : server.mails[0];
  }
};

TEST_F(CurlMailTest, TheDialogueIsToldWhileItGoesOn) {
  // The server answers nothing more until its first lines have been told.
  bool told_greeting = false;
  Texts told;
  Outcomes outcomes;
  server.answer = [&](const std::string& line) {
    EXPECT_TRUE(line != "DATA" || told_greeting);
    return ScriptedMailServer::Good(line);
  };
  mail->Send(
      message,
      [&](const MailOutcome& outcome) {
        outcomes.push_back(outcome);
        told.emplace_back("end");
      },
      [&](bool sent, std::string_view text) {
        told.push_back((sent ? "> " : "< ") + std::string(text));
        told_greeting = told_greeting || text.starts_with("220");
      });
  TurnUntil([&] { return !outcomes.empty(); });
  ASSERT_TRUE(outcomes[0].status.ok()) << outcomes[0].status.text;
  ASSERT_GE(told.size(), 8u);
  EXPECT_EQ(told.front(), "< 220 mail.test ESMTP");
  EXPECT_EQ(told.back(), "end");
  const auto has = [&](const char* line) { return std::find(told.begin(), told.end(), line) != told.end(); };
  EXPECT_TRUE(has("> MAIL FROM:<monitor@example.org>") && has("> RCPT TO:<a@example.org>") && has("< 250 OK id=1"));
}

TEST_F(CurlMailTest, AMailThatIsForgottenIsGivenUpAndHoldsUpNobody) {
  Limit(30'000);
  AnswerTo("", "");
  bool told = false;
  const auto number = mail->Send(
      message, [&](const MailOutcome&) { told = true; }, [&](bool, std::string_view) { told = true; });
  EXPECT_GT(number, 0u);
  const auto begin = std::chrono::steady_clock::now();
  mail->Forget(number);
  mail->Forget(number);
  mail->Finish(20'000);
  mail.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_FALSE(told);
}

TEST_F(CurlMailTest, AServerThatTalksWithoutEndIsListedInPart) {
  server.answer = [&](const std::string& line) {
    std::string text;
    for (int i = 0; line.empty() && i < 2'000; ++i) text += "220-more\r\n";
    return text + ScriptedMailServer::Good(line);
  };
  size_t told = 0;
  Outcomes outcomes;
  mail->Send(
      message, [&](const MailOutcome& outcome) { outcomes.push_back(outcome); },
      [&](bool, std::string_view) { ++told; });
  TurnUntil([&] { return !outcomes.empty(); });
  EXPECT_EQ(told, 500u);
}

TEST_F(CurlMailTest, APlainMailByteForByte) {
  message.headers.push_back("X-Long: " + std::string(40, 'a') + " " + std::string(40, 'b'));
  EXPECT_EQ(Send().text, "");
  EXPECT_EQ(OnlyMail(), "From: monitor@example.org\r\nSubject: Hello\r\nX-Long: " + std::string(40, 'a') + "\r\n " +
                            std::string(40, 'b') +
                            "\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
                            "Content-Transfer-Encoding: quoted-printable\r\n\r\nOne line\r\n");
  ASSERT_EQ(server.commands.size(), 5u);
  EXPECT_TRUE(StartsWith(server.commands[0], "EHLO "));
  EXPECT_EQ(Texts(server.commands.begin() + 1, server.commands.end()),
            (Texts{"MAIL FROM:<monitor@example.org>", "RCPT TO:<a@example.org>", "DATA", "QUIT"}));
  EXPECT_EQ(lines, Texts{server.Place() + " took the mail for a@example.org: 250 OK id=1"});
}

TEST_F(CurlMailTest, LinesThatBeginWithDotsAndEveryLineEnd) {
  message.body = ".\n..\r\n.a\r\r\nend";
  message.html = true;
  EXPECT_TRUE(Send().ok());
  const std::string head_end = "quoted-printable\r\n\r\n";
  const std::string whole = OnlyMail();
  EXPECT_EQ(whole.substr(whole.find(head_end) + head_end.size()), "..\r\n...\r\n..a\r\n\r\nend\r\n") << "dots doubled";
  EXPECT_NE(whole.find("Content-Type: text/html; charset=utf-8\r\n"), std::string::npos);
}

TEST_F(CurlMailTest, LongLinesAndOddBytesBecomeShortPlainOnes) {
  message.body = std::string(5'000, 'x') + "\xE9\x80" + std::string(1, '\0') + "\n";
  EXPECT_TRUE(Send().ok());
  const std::string whole = OnlyMail();
  for (const std::string_view line : Split(whole, '\n')) EXPECT_LE(line.size(), 77u);
  EXPECT_NE(whole.find("=C3=A9=E2=82=AC"), std::string::npos) << "from Windows-1252";
  EXPECT_TRUE(std::all_of(whole.begin(), whole.end(),
                          [](unsigned char c) { return c == '\r' || c == '\n' || (c >= ' ' && c < 0x7F); }));
}

TEST_F(CurlMailTest, AnEmptyBody) {
  message.body.clear();
  EXPECT_TRUE(Send().ok());
  EXPECT_TRUE(OnlyMail().ends_with("quoted-printable\r\n\r\n"));
}

TEST_F(CurlMailTest, AnAttachmentIsPartOfTheMail) {
  const TempFolder folder;
  message.attachment = folder.path + "r\xC3\xA9port \"1\".HTM";
  std::ofstream(message.attachment) << "<p>" << std::string(100, 'y');
  EXPECT_TRUE(Send().ok());
  const std::string whole = OnlyMail();
  EXPECT_NE(whole.find("Content-Type: text/html;\r\n name=\"r__port _1_.HTM\"\r\n"), std::string::npos) << whole;
  EXPECT_NE(whole.find(" filename*=UTF-8''r%C3%A9port%20%221%22.HTM\r\n\r\nPHA+eXl5"), std::string::npos) << whole;
  EXPECT_TRUE(whole.ends_with("eXl5eQ==\r\n--=_vantry_part--\r\n")) << whole;
}

TEST_F(CurlMailTest, AnAttachmentThatCantBeReadIsToldBeforeConnecting) {
  const TempFolder folder;
  message.attachment = folder.path + "gone";
  ExpectFailure(Fail::kBadData, "The attachment " + message.attachment + " can't be read: No such file or directory");
  message.attachment = folder.path;
  ExpectFailure(Fail::kBadData, "The attachment " + folder.path + " can't be read: It is a folder");
  message.attachment = folder.path + "pipe";
  ASSERT_EQ(::mkfifo(message.attachment.c_str(), 0600), 0);
  ExpectFailure(Fail::kBadData, "The attachment " + message.attachment + " can't be read: It is no file");
  EXPECT_EQ(server.connections, 0);
}

TEST_F(CurlMailTest, OneOfSeveralRecipientsIsRefused) {
  message.recipients = {"a@x", "b@x", "c@x"};
  AnswerTo("RCPT TO:<b@x>", "550-5.1.1 Nobody\r\n550 5.1.1 by that name\r\n");
  ExpectFailure(Fail::kRefused, "550 5.1.1 Nobody 5.1.1 by that name <b@x>");
  EXPECT_EQ(server.mails.size(), 1u);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], server.Place() + " took the mail for a@x, c@x: 250 OK id=1");
}

TEST_F(CurlMailTest, EveryRecipientIsRefused) {
  message.recipients = {"a@x", "b@x"};
  AnswerTo("RCPT", "451 later\r\n");
  ExpectFailure(Fail::kRefused, "451 later <a@x>; 451 later <b@x>");
  EXPECT_TRUE(server.mails.empty());
  EXPECT_EQ(lines.size(), 1u);
}

TEST_F(CurlMailTest, ManyRefusalsMakeNoEndlessText) {
  message.recipients.assign(300, "x@x");
  AnswerTo("RCPT", "550 " + std::string(400, 'n') + "\r\n");
  const Status status = Send();
  EXPECT_EQ(status.fail, Fail::kRefused);
  EXPECT_LT(status.text.size(), 3'000u);
  EXPECT_TRUE(status.text.ends_with("; and 290 more")) << status.text;
}

TEST_F(CurlMailTest, RefusalsAtEveryStep) {
  AnswerTo("", "554 no service for you\r\n");
  ExpectFailure(Fail::kRefused, "554 no service for you");
  AnswerTo("MAIL", "553 who?\r\n");
  ExpectFailure(Fail::kRefused, "553 who? <monitor@example.org>");
  AnswerTo("DATA", "452 full\r\n");
  ExpectFailure(Fail::kRefused, "452 full");
  AnswerTo(".", "552 too large\r\n");
  ExpectFailure(Fail::kRefused, "552 too large");
}

TEST_F(CurlMailTest, ALoginThatIsRefusedAndAPasswordThatIsNeverTold) {
  message.user = "me";
  message.password = "hunter2";
  server.answer = [](const std::string& line) -> std::string {
    if (line.starts_with("EHLO")) return "250-mail.test\r\n250 AUTH PLAIN\r\n";
    if (line == "AUTH PLAIN") return "334 \r\n";
    if (line == "AG1lAGh1bnRlcjI=") return "535 no hunter2 in " + line + "\r\n";
    return ScriptedMailServer::Good(line);
  };
  ExpectFailure(Fail::kRefused, "the login was refused: 535 no *** in ***");
}

TEST_F(CurlMailTest, ALoginDoesNotGoOnInClearWhenEncryptionIsOfferedInVain) {
  message.user = "me";
  message.password = "hunter2";
  server.answer = [](const std::string& line) -> std::string {
    if (line.starts_with("EHLO")) return "250-mail.test\r\n250-STARTTLS\r\n250 AUTH PLAIN\r\n";
    if (line == "STARTTLS") return "454 not today\r\n";
    return ScriptedMailServer::Good(line);
  };
  ExpectFailure(Fail::kRefused, "encryption was refused, so there was no login: 454 not today");
  EXPECT_EQ(server.commands.back(), "STARTTLS");
  message.user.clear();
  EXPECT_TRUE(Send().ok()) << "without a login any way is good";
}

TEST_F(CurlMailTest, WhatAServerSaysIsMadePresentable) {
  AnswerTo("MAIL", "550 a\x01\x1B[31m\tb\xE9 " + std::string(3'000, 'z') + "\r\n");
  const Status status = Send();
  EXPECT_TRUE(StartsWith(status.text, server.Place() + ": 550 a  [31m b\xC3\xA9 zzz")) << status.text;
  EXPECT_EQ(status.text.size(), (server.Place() + ": ").size() + 200 + std::string(" <monitor@example.org>").size());
}

TEST_F(CurlMailTest, AServerThatClosesInTheMiddle) {
  for (const std::string where : {"", "MAIL", "RCPT", "DATA", "."}) {
    server.closes = [where](const std::string& line) { return where.empty() ? line.empty() : StartsWith(line, where); };
    ExpectFailure(Fail::kIo, "the connection broke off");
  }
}

TEST_F(CurlMailTest, NothingListens) {
  const std::string place = ScriptedMailServer().Place();
  message.server = place;
  const Status status = Send();
  EXPECT_EQ(status.fail, Fail::kIo);
  EXPECT_EQ(status.text, place + ": connection refused");
}

TEST_F(CurlMailTest, AServerThatFallsSilent) {
  Limit(300);
  for (const std::string where : {"", "EHLO", "MAIL", "RCPT", "DATA"}) {
    AnswerTo(where, "");
    ExpectFailure(Fail::kIo, "the server did not answer within 300 ms");
  }
}

TEST_F(CurlMailTest, TheAnswerToTheMailItselfMayTakeLonger) {
  mail = std::make_unique<CurlMail>(MailLimits{10'000, 200, 1'500});
  AnswerTo(".", "");
  ExpectFailure(Fail::kIo, "the mail was not sent within 1500 ms");
}

TEST_F(CurlMailTest, ASilentGoodByeDoesNotMatter) {
  Limit(300);
  AnswerTo("QUIT", "");
  EXPECT_TRUE(Send().ok());
  EXPECT_EQ(lines.size(), 1u);
}

TEST_F(CurlMailTest, OneByteAtATimeIsNoAnswer) {
  Limit(300);
  server.drips = true;
  AnswerTo("", "220-" + std::string(200, 'x') + "\r\n220 late\r\n");
  ExpectFailure(Fail::kIo, "the server did not answer within 300 ms");
}

TEST_F(CurlMailTest, OneByteAtATimeIsFineWhenItEnds) {
  server.drips = true;
  EXPECT_TRUE(Send().ok());
}

TEST_F(CurlMailTest, MailsGoOutWhileTheServerOfAnotherIsSilent) {
  ScriptedMailServer slow;
  slow.answer = [](const std::string&) { return ""; };
  Limit(1'000);
  MailMessage first = message;
  first.server = slow.Place();
  Outcomes outcomes;
  Start(first, outcomes);
  EXPECT_TRUE(Send().ok());
  EXPECT_TRUE(outcomes.empty());
  TurnUntil([&] { return !outcomes.empty(); });
  EXPECT_EQ(outcomes[0].status.fail, Fail::kIo);
}

TEST_F(CurlMailTest, ManyAtOnceEachWithItsOwnEnd) {
  Outcomes outcomes;
  for (int i = 0; i < 20; ++i) Start(message, outcomes);
  TurnUntil([&] { return outcomes.size() == 20; });
  for (const MailOutcome& outcome : outcomes) EXPECT_TRUE(outcome.status.ok()) << outcome.status.text;
  EXPECT_EQ(server.mails.size(), 20u);
}

TEST_F(CurlMailTest, NoMoreThanSoManyAtOnce) {
  AnswerTo("", "");
  Limit(2'000);
  Outcomes outcomes;
  for (size_t i = 0; i < CurlMail::kMostAtOnce; ++i) Start(message, outcomes);
  EXPECT_EQ(Send().text, server.Place() + ": 128 mails are under way already");
  EXPECT_TRUE(outcomes.empty());
  mail->Finish(0);
  EXPECT_EQ(outcomes.size(), CurlMail::kMostAtOnce);
}

TEST_F(CurlMailTest, TheEndCutsASilentOneShort) {
  AnswerTo("", "");
  Outcomes outcomes;
  Start(message, outcomes);
  TurnUntil([&] { return server.connections == 1; });
  mail->Finish(50);
  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_EQ(outcomes[0].status.text, server.Place() + ": the time for sending mail is up");
  ExpectFailure(Fail::kIo, "the time for sending mail is up");
  EXPECT_EQ(server.connections, 1) << "nothing is begun any more";
}

// The server has a thread and a loop of its own, as this one's loop does not turn at the end.
TEST_F(CurlMailTest, TheEndWaitsForWhatIsUnderWayAndForWhatFollowsIt) {
  std::promise<std::string> place;
  std::promise<size_t> mails;
  QEventLoop* turning = nullptr;
  std::thread other([&] {
    QEventLoop loop;  // First: sockets of this thread need it.
    ScriptedMailServer elsewhere;
    turning = &loop;
    place.set_value(elsewhere.Place());
    loop.exec();
    mails.set_value(elsewhere.mails.size());
  });
  message.server = place.get_future().get();
  Outcomes outcomes;
  mail->Send(message, [&](const MailOutcome& outcome) {
    outcomes.push_back(outcome);
    Start(message, outcomes);
  });
  mail->Finish(20'000);
  QMetaObject::invokeMethod(turning, "quit", Qt::QueuedConnection);
  other.join();
  ASSERT_EQ(outcomes.size(), 2u);
  for (const MailOutcome& outcome : outcomes) EXPECT_TRUE(outcome.status.ok()) << outcome.status.text;
  EXPECT_EQ(mails.get_future().get(), 2u);
}

TEST_F(CurlMailTest, WhatIsNoAddressNeverReachesTheServer) {
  for (const char* bad : {"", "a b", "a@x>\r\nRCPT TO:<b@x", "<a", "a\n"}) {
    message.recipients = {"good@x", bad};
    EXPECT_EQ(Send().fail, Fail::kBadData) << bad;
  }
  message.recipients = {"good@x"};
  message.sender = "a> x";
  EXPECT_EQ(Send().fail, Fail::kBadData);
  message.sender = "a";
  message.headers.push_back("A: b\r\nC: d");
  EXPECT_EQ(Send().fail, Fail::kBadData);
  message.headers.clear();
  message.recipients.clear();
  EXPECT_EQ(Send().fail, Fail::kBadData);
  EXPECT_EQ(server.connections, 0);
}

TEST_F(CurlMailTest, WhatIsNoServerIsToldByItsText) {
  message.server = "no server\r\n";
  const Status status = Send();
  EXPECT_EQ(status.fail, Fail::kBadData);
  EXPECT_EQ(status.text, "'no server  ' is no mail server");
}

}  // namespace
}  // namespace vantry
