#include "notify/mail_queue.h"

#include <gtest/gtest.h>

#include "support/mail_rig.h"

namespace vantry {
namespace {

std::string Joined(PendingTexts pending) {
  std::string text;
  while (!pending.Empty()) text += pending.Pop() + "\r\n\r\n";
  return text;
}

struct MailQueueTest : ::testing::Test {
  MailRig rig;
  MailQueue& queue = rig.queue;
  // All that was sent, after the servers have answered.
  const std::vector<MailMessage>& Sent() {
    rig.mail.Turn();
    return rig.mail.sent;
  }
};

TEST_F(MailQueueTest, WithoutAServerAMessageIsDropped) {
  rig.settings.EmailServer = "";
  rig.settings.EmailSendTo = "all@example";
  queue.SendEmail("text", 1, "");
  queue.SendEmail("text", 1, "a@example");
  EXPECT_TRUE(Sent().empty());
  EXPECT_EQ(queue.PendingCount(), 0);
  EXPECT_EQ(rig.program_log, "");
}

TEST_F(MailQueueTest, AnAddressGetsItsMailAtOnce) {
  rig.settings.EmailSendTo = "all@example";
  rig.t.Site(1).EmailAddress = "one@example";
  queue.SendEmail("text", 1, "a@example");
  ASSERT_EQ(Sent().size(), 1u);
  EXPECT_EQ(Sent()[0].body, "text");
  EXPECT_EQ(Sent()[0].recipients, std::vector<std::string>{"a@example"});
  EXPECT_EQ(queue.PendingCount(), 0);
}

TEST_F(MailQueueTest, TextsAreCollectedForTheSiteAndForAll) {
  struct Case {
    const char *site_address, *send_to;
    bool global_also;
    const char *site_text, *general_text;
    int32_t count;
  };
  const Case cases[] = {{"", "", false, "", "", 0},
                        {"one@example", "", true, "text\r\n\r\n", "", 0},
                        {"", "all@example", false, "", "text\r\n\r\n", 1},
                        {"one@example", "all@example", true, "text\r\n\r\n", "text\r\n\r\n", 1},
                        // Counted all the same.
                        {"one@example", "all@example", false, "text\r\n\r\n", "", 1}};
  for (const Case& c : cases) {
    MailRig fresh;
    fresh.t.Site(1).EmailAddress = c.site_address;
    fresh.t.Site(1).EmailGlobalAlso = c.global_also;
    fresh.settings.EmailSendTo = c.send_to;
    fresh.queue.SendEmail("text", 1, "");
    EXPECT_EQ(Joined(fresh.t.Site(1).PendingEmail), c.site_text);
    EXPECT_EQ(Joined(fresh.queue.PendingText()), c.general_text);
    EXPECT_EQ(fresh.queue.PendingCount(), c.count);
    EXPECT_TRUE(fresh.mail.sent.empty());
    EXPECT_EQ(fresh.view.Count("mail 1 Pending Messages"), c.count);
  }
}

TEST_F(MailQueueTest, NoSiteAndEmptyMessages) {
  rig.settings.EmailSendTo = "all@example";
  queue.SendEmail("text", 0, "");
  queue.SendEmail("", 0, "");
  EXPECT_EQ(Joined(queue.PendingText()), "text\r\n\r\n");
  EXPECT_EQ(queue.PendingCount(), 2);
}

TEST_F(MailQueueTest, WhatWaitsIsCountedUntilAServerHasAnswered) {
  EXPECT_EQ(queue.Waiting(), 0);
  rig.t.Site(1).EmailAddress = "one@example";
  rig.t.Site(1).EmailGlobalAlso = true;
  queue.SendEmail("for the site alone", 1, "");
  EXPECT_EQ(queue.Waiting(), 1);
  rig.settings.EmailSendTo = "all@example";
  queue.SendEmail("for both", 1, "");
  EXPECT_EQ(queue.Waiting(), 3);
  queue.Email_SendPending();
  EXPECT_EQ(queue.Waiting(), 2) << "a mail for the site is under way, that for all is in line";
  queue.SendMailAside({"login@example", "text"}, [] {});
  EXPECT_EQ(queue.Waiting(), 3);
  rig.mail.answers = {Status::Error(Fail::kRefused, "mail.example:25: 550 no")};
  rig.mail.TurnOnce();
  EXPECT_EQ(queue.Waiting(), 2) << "told, and gone";
  rig.mail.Turn();
  EXPECT_EQ(queue.Waiting(), 0);
  queue.SendMailNow({"", "nobody to send to"});
  EXPECT_EQ(queue.Waiting(), 0);
}

TEST_F(MailQueueTest, WhatIsCollectedGoesOutTogether) {
  rig.settings.EmailSendTo = "all@example;other@example";
  rig.t.Site(2).EmailAddress = "two@example";
  rig.t.Site(2).EmailGlobalAlso = true;
  queue.SendEmail("first", 1, "");
  queue.SendEmail("second", 2, "");
  queue.Email_SendPending();
  ASSERT_EQ(Sent().size(), 2u);
  EXPECT_EQ(Sent()[0].recipients, std::vector<std::string>{"two@example"});
  EXPECT_EQ(Sent()[0].body, "second\r\n\r\n");
  EXPECT_EQ(Sent()[1].recipients, (std::vector<std::string>{"all@example", "other@example"}));
  EXPECT_EQ(Sent()[1].body, "first\r\n\r\nsecond\r\n\r\n");
  EXPECT_EQ(queue.PendingCount(), 0);
  EXPECT_EQ(rig.view.calls.back(), "mail ");
  queue.Email_SendPending();
  EXPECT_EQ(Sent().size(), 2u);
}

TEST_F(MailQueueTest, TheTimerCountsItsTicks) {
  rig.settings.EmailSendTo = "all@example";
  queue.SendEmail("text", 0, "");
  queue.SendTimerTick();
  EXPECT_TRUE(Sent().empty());
  queue.SendTimerTick();
  EXPECT_EQ(Sent().size(), 1u);
  rig.settings.EmailEvery = 0;
  for (size_t n = 2; n < 5; ++n) {
    queue.SendEmail("text", 0, "");
    queue.SendTimerTick();
    EXPECT_EQ(Sent().size(), n);
  }
  rig.settings.EmailEvery = 5;
  queue.SendEmail("text", 0, "");
  for (int tick = 0; tick < 4; ++tick) queue.SendTimerTick();
  EXPECT_EQ(Sent().size(), 4u);
  queue.SendTimerTick();
  EXPECT_EQ(Sent().size(), 5u);
}

TEST_F(MailQueueTest, SettingsStandInTheMail) {
  rig.settings.EmailServer = "mail.example:2525";
  rig.settings.EmailUserName = "user";
  rig.settings.EmailPassword = "secret";
  rig.settings.EmailSubject = "My subject";
  queue.SendMailNow({"a@example;b@example", "body", "/report.htm", true});
  const MailMessage& m = Sent().at(0);
  EXPECT_EQ(m.server, "mail.example:2525");
  EXPECT_EQ(m.user + "/" + m.password, "user/secret");
  EXPECT_EQ(m.sender, "vantry@example");
  EXPECT_EQ(m.recipients, (std::vector<std::string>{"a@example", "b@example"}));
  EXPECT_NE(std::find(m.headers.begin(), m.headers.end(), "Subject: My subject"), m.headers.end());
  EXPECT_EQ(m.attachment, "/report.htm");
  EXPECT_TRUE(m.html);
  rig.settings.EmailUserName = "";
  queue.SendMailNow({"a@example", "body"});
  EXPECT_EQ(Sent().at(1).password, "") << "a password needs a user";
}

TEST_F(MailQueueTest, AnAttachmentIsThatOfTheTimeOfTheMail) {
  rig.files.Put("/report.htm", "of one");
  queue.SendMailNow({"a@example", "1", "/report.htm"});
  queue.SendMailNow({"a@example", "2", "/report.htm"});
  rig.files.Put("/report.htm", "of another");
  queue.SendMailNow({"a@example", "3", "/report.htm"});
  queue.SendMailNow({"a@example", "4", "/gone.htm"});
  const auto& sent = Sent();
  ASSERT_EQ(sent.size(), 4u);
  EXPECT_EQ(sent[1].attached, "of one");
  EXPECT_EQ(sent[2].attached, "of another");
  EXPECT_EQ(sent[3].attached, std::nullopt) << "whoever sends it tells that it can't be read";
}

TEST_F(MailQueueTest, AttachmentsThatWaitAreBounded) {
  rig.files.Put("/long.htm", std::string(MailQueue::kMostAttached, 'x'));
  rig.files.Put("/longer.htm", std::string(MailQueue::kMostAttached + 1, 'x'));
  queue.SendMailNow({"a@example", "0", "/longer.htm"});
  for (int i = 1; i <= 20; ++i) queue.SendMailNow({"a@example", std::to_string(i), "/long.htm"});
  const auto& sent = Sent();
  ASSERT_EQ(sent.size(), 16u);
  EXPECT_EQ(sent[0].attached, std::nullopt) << "read when it goes out";
  EXPECT_EQ(sent[1].body, "6");
  EXPECT_EQ(sent[1].attached.value_or("").size(), MailQueue::kMostAttached);
}

TEST_F(MailQueueTest, AFailureIsReportedAndTheTextIsGone) {
  rig.settings.EmailSendTo = "all@example";
  rig.mail.answer = Status::Error(Fail::kRefused, "mail.example:25: 550 no");
  queue.SendEmail("text", 0, "");
  queue.Email_SendPending();
  rig.mail.Turn();
  EXPECT_EQ(rig.program_log,
            "3/5/2026 12:00:00 PM SMTP: mail.example:25: 550 no\r\n"
            "3/5/2026 12:00:00 PM mail.example:25: 550 no From *Email notification to: all@example failed.\r\n");
  EXPECT_EQ(Joined(queue.PendingText()), "");
  EXPECT_EQ(queue.PendingCount(), 0);
}

TEST_F(MailQueueTest, WhatCantBeSentAtAllIsReportedAndTheNextGoesOut) {
  queue.SendMailNow({"", "text"});
  EXPECT_TRUE(Contains(rig.program_log, "*Email notification to:  failed."));
  rig.settings.EmailServer = "";
  queue.SendMailNow({"a@example", "text"});
  EXPECT_TRUE(Contains(rig.program_log, "no EmailServer is set From *Email notification to: a@example failed."));
  rig.settings.EmailServer = "mail.example";
  queue.SendMailNow({"a@example", "text"});
  EXPECT_EQ(Sent().size(), 1u);
}

TEST_F(MailQueueTest, WhatComesWhileAMailGoesOutBelongsToTheNext) {
  rig.settings.EmailSendTo = "all@example";
  queue.SendEmail("first", 0, "");
  queue.Email_SendPending();
  queue.SendEmail("second", 0, "");
  rig.mail.Turn();
  EXPECT_EQ(Joined(queue.PendingText()), "second\r\n\r\n");
  EXPECT_EQ(queue.PendingCount(), 1);
}

TEST_F(MailQueueTest, MailsGoOutOneAfterTheOtherInTheirOrder) {
  rig.mail.answers = {Status::Error(Fail::kRefused, "mail.example:25: 550 no")};
  for (const char* to : {"a@example", "b@example", "c@example"}) queue.SendEmail("text", 0, to);
  EXPECT_EQ(rig.mail.sent.size(), 1u);
  rig.mail.TurnOnce();
  EXPECT_EQ(rig.mail.sent.size(), 2u);
  EXPECT_EQ(rig.mail.UnderWayCount(), 1u);
  rig.mail.Turn();
  EXPECT_EQ(rig.program_log,
            "3/5/2026 12:00:00 PM SMTP: mail.example:25: 550 no\r\n"
            "3/5/2026 12:00:00 PM mail.example:25: 550 no From *Email notification to: a@example failed.\r\n"
            "3/5/2026 12:00:00 PM SMTP: mail.example took the mail for b@example: 250 OK\r\n"
            "3/5/2026 12:00:00 PM SMTP: mail.example took the mail for c@example: 250 OK\r\n");
}

TEST_F(MailQueueTest, AMailThatSomebodyWaitsForPassesTheOthers) {
  for (const char* to : {"a@example", "b@example"}) queue.SendEmail("text", 0, to);
  int done = 0;
  queue.SendMailAside({"login@example", "text"}, [&] {
    ++done;
    EXPECT_TRUE(Contains(rig.program_log, "took the mail for login@example"));
  });
  EXPECT_EQ(rig.mail.UnderWayCount(), 2u);
  EXPECT_EQ(done, 0);
  EXPECT_EQ(Sent().size(), 3u);
  EXPECT_EQ(Sent()[1].recipients[0], "login@example");
  EXPECT_EQ(done, 1);
  rig.mail.answer = Status::Error(Fail::kRefused, "mail.example:25: 550 no");
  queue.SendMailAside({"login@example", "text"}, [&] { ++done; });
  rig.mail.Turn();
  EXPECT_EQ(done, 2);
  queue.SendMailAside({"", "nobody to send to"}, [&] { ++done; });
  EXPECT_EQ(done, 3);
}

TEST_F(MailQueueTest, OfTooManyMailsTheNewestAreKeptAndTheOthersCounted) {
  constexpr size_t kExtra = 100;
  for (size_t i = 0; i <= MailQueue::kMostWaiting + kExtra; ++i) queue.SendMailNow({"a@example", std::to_string(i)});
  EXPECT_FALSE(Contains(rig.program_log, "dropped"));
  ASSERT_EQ(Sent().size(), MailQueue::kMostWaiting + 1);
  EXPECT_EQ(Sent()[0].body, "0") << "under way already";
  EXPECT_EQ(Sent()[1].body, std::to_string(kExtra + 1));
  EXPECT_EQ(Sent().back().body, std::to_string(MailQueue::kMostWaiting + kExtra));
  const std::string told = "SMTP: 100 mails were dropped, as too many waited";
  ASSERT_TRUE(Contains(rig.program_log, told));
  EXPECT_EQ(rig.program_log.find(told), rig.program_log.rfind(told));
}

TEST_F(MailQueueTest, LargeMailsThatWaitAreBoundedByTheirBytes) {
  const std::string large(MailQueue::kMostWaitingBytes / 4, 'x');
  for (int i = 0; i < 7; ++i) queue.SendMailNow({"a@example", large});
  EXPECT_EQ(Sent().size(), 1u + 3u);
  EXPECT_TRUE(Contains(rig.program_log, "SMTP: 3 mails were dropped"));
}

TEST_F(MailQueueTest, TheEndSendsWhatIsPendingInOneStretchOfTime) {
  rig.settings.EmailSendTo = "all@example";
  queue.SendEmail("one", 0, "a@example");
  queue.SendEmail("two", 0, "b@example");
  queue.SendEmail("text", 0, "");
  queue.Close();
  EXPECT_EQ(rig.mail.finished, MailQueue::kLastMs);
  EXPECT_EQ(rig.mail.sent.size(), 3u);
  EXPECT_EQ(rig.mail.UnderWayCount(), 0u);
}

TEST_F(MailQueueTest, WhatIsNotOutInTheLastStretchIsReportedMailByMail) {
  rig.settings.EmailSendTo = "all@example";
  rig.mail.silent = true;
  for (const char* to : {"a@example", "b@example", ""}) queue.SendEmail("text", 0, to);
  queue.Close();
  std::string expected;
  for (const char* to : {"a@example", "b@example", "all@example"}) {
    const std::string why = "mail.example: the time for sending mail is up";
    expected += "3/5/2026 12:00:00 PM SMTP: " + why + "\r\n3/5/2026 12:00:00 PM " + why +
                " From *Email notification to: " + to + " failed.\r\n";
  }
  EXPECT_EQ(rig.program_log, expected);
  EXPECT_EQ(rig.mail.sent.size(), 1u) << "nothing is begun any more";
}

TEST_F(MailQueueTest, TenThousandMessagesAreOneMail) {
  rig.settings.EmailSendTo = "all@example";
  for (int i = 0; i < 10'000; ++i) queue.SendEmail("message " + std::to_string(i), 1, "");
  EXPECT_EQ(rig.view.calls.back(), "mail 10000 Pending Messages");
  queue.Email_SendPending();
  ASSERT_EQ(Sent().size(), 1u);
  EXPECT_TRUE(Contains(Sent()[0].body, "message 0\r\n\r\nmessage 1\r\n\r\n"));
  EXPECT_TRUE(Contains(Sent()[0].body, "message 9999\r\n\r\n"));
}

TEST_F(MailQueueTest, OfTooManyMessagesTheNewestAreInTheMailAndTheOthersCounted) {
  rig.settings.EmailSendTo = "all@example";
  rig.t.Site(1).EmailAddress = "one@example";
  rig.t.Site(1).EmailGlobalAlso = true;
  constexpr int kSent = static_cast<int>(PendingTexts::kMost) + 7;
  for (int i = 0; i < kSent; ++i) queue.SendEmail("message " + std::to_string(i), 1, "");
  EXPECT_EQ(queue.PendingCount(), kSent) << "counters stay exact";
  EXPECT_EQ(rig.program_log, "");
  queue.Email_SendPending();
  ASSERT_EQ(Sent().size(), 2u);
  for (const MailMessage& mail : Sent()) {
    EXPECT_TRUE(StartsWith(mail.body, "7 older messages were dropped.\r\n\r\nmessage 7\r\n\r\nmessage 8\r\n\r\n"));
    EXPECT_TRUE(Contains(mail.body, "message " + std::to_string(kSent - 1) + "\r\n\r\n"));
  }
  for (const char* to : {"one@example", "all@example"}) {
    const std::string told = "SMTP: 7 older messages were dropped from the mail to " + std::string(to);
    EXPECT_NE(rig.program_log.find(told), std::string::npos);
    EXPECT_EQ(rig.program_log.find(told), rig.program_log.rfind(told));
  }
  queue.SendEmail("text", 1, "");
  queue.Email_SendPending();
  EXPECT_EQ(Sent().back().body, "text\r\n\r\n") << "told once";
}

TEST_F(MailQueueTest, LongMessagesThatWaitAreBoundedByTheirBytes) {
  rig.settings.EmailSendTo = "all@example";
  const std::string half(PendingTexts::kMostBytes / 2, 'x');
  for (int i = 0; i < 5; ++i) queue.SendEmail(std::to_string(i) + half, 0, "");
  EXPECT_EQ(queue.PendingText().Rows(), 1u);
  EXPECT_LE(queue.PendingText().Bytes(), PendingTexts::kMostBytes);
  queue.Email_SendPending();
  EXPECT_TRUE(StartsWith(Sent().at(0).body, "4 older messages were dropped.\r\n\r\n4x"));
}

}  // namespace
}  // namespace vantry
