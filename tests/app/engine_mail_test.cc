// What the whole engine mails, and what waits for it.
#include <gtest/gtest.h>

#include "app/engine.h"
#include "support/engine_rig.h"

namespace vantry {
namespace {

struct EngineMailTest : EngineTest {};

TEST_F(EngineMailTest, TheSendTimerRunsUnlessPaused) {
  files.Put("/home/SETTINGS.INI",
            "[Vantry Settings]\r\nWebAccessPort= 9000\r\nEmailServer=mail.example\r\nEmailSendTo=a@example\r\n\r\n");
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  Run(4);
  files.entries["/logs/access.log"]->bytes +=
      "10.0.0.1 - - [05/Mar/2026:12:00:04 +0000] \"GET /gone.htm HTTP/1.0\" 404 5 \"-\" \"B\"\n";
  Run(20);
  loop.Tick(MailQueue::kSendTimerMs);
  engine->Pause();
  for (int i = 0; i < 5; ++i) loop.Tick(MailQueue::kSendTimerMs);
  EXPECT_TRUE(mail.sent.empty());
  engine->Continue();
  loop.Tick(MailQueue::kSendTimerMs);
  ASSERT_EQ(mail.sent.size(), 1u);
  EXPECT_TRUE(Contains(mail.sent[0].body, "[404] HTTP Page gone.htm not found 404 error DNS: 10.0.0.1 Visit No: 1"));
}

TEST_F(EngineMailTest, ClosingSendsWhatIsPending) {
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nEmailServer=mail.example\r\nEmailSendTo=a@example\r\n\r\n");
  files.Put("/home/EXTYPES.INI",
            "[Exception Types]\r\n[110]\r\nNumber=110\r\nDescription=x [value]\r\nValue=0\r\nRaise=True\r\n"
            "Email=True\r\n\r\n\r\n");
  Sites(1);
  Log("12:00:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  Run(20);
  EXPECT_TRUE(mail.sent.empty());
  mail.answer = Status::Error(Fail::kIo, "mail.example:25: no answer");
  engine->Closing();
  ASSERT_EQ(mail.sent.size(), 1u);
  EXPECT_TRUE(Contains(mail.sent[0].body, "[110] x 1 @ "));
  EXPECT_EQ(mail.finished, MailQueue::kLastMs);
  EXPECT_TRUE(loop.quit);
}

TEST_F(EngineMailTest, ASitesDayIsMailedAtTheRollover) {
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nEmailServer=mail.example\r\nEmailSendTo=a@example\r\n\r\n");
  Sites(2);
  Log("12:00:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  LiveTables& t = engine->Tables();
  t.Site(2).EmailDailyReport = true;
  t.CurrentView = 1;
  t.CurrentViewType = 1;
  Run(20);
  clock.Advance(12 * 3600 + 40);
  Run(4);
  ASSERT_EQ(mail.sent.size(), 1u);
  EXPECT_EQ(mail.sent[0].body, "Daily Report For Site:Site 2");
  EXPECT_EQ(mail.sent[0].attachment, "/home/Site 2 Daily Report.htm");
  EXPECT_TRUE(Contains(files.Get(mail.sent[0].attachment), "Site 2 [0 Alerts] Today:0"));
  EXPECT_FALSE(files.Exists("/home/Site 1 Daily Report.htm"));
  EXPECT_EQ(t.CurrentView, 1);
  EXPECT_EQ(t.CurrentViewType, 1);
  std::string path;
  EXPECT_TRUE(engine->MakeReport("Site 1", path).ok());
  EXPECT_TRUE(files.Exists("/home/Site 1 Daily Report.htm"));
  EXPECT_EQ(mail.sent.size(), 1u);
}

// The server says nothing, and the lines go on all the same.
TEST_F(EngineMailTest, NoLineOfALogWaitsForAMail) {
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nEmailServer=mail.example\r\n\r\n");
  files.Put("/home/EXTYPES.INI",
            "[Exception Types]\r\n[404]\r\nNumber=404\r\nDescription=x\r\nRaise=True\r\nEmail=True\r\n"
            "EmailAddress=a@example\r\n\r\n\r\n");
  Sites(1);
  Log("12:00:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  Run(4);
  for (const char* second : {"04", "05", "06"}) {
    files.entries["/logs/access.log"]->bytes += "10.0.0.1 - - [05/Mar/2026:12:00:" + std::string(second) +
                                                " +0000] \"GET /gone" + second + ".htm HTTP/1.0\" 404 5 \"-\" \"B\"\n";
  }
  Run(16);
  EXPECT_EQ(mail.UnderWayCount(), 1u) << "one at a time";
  EXPECT_EQ(engine->Tables().Site(1).TodayExceptions, 3);
  engine->Closing();
  EXPECT_EQ(mail.sent.size(), 3u);
  EXPECT_EQ(mail.finished, MailQueue::kLastMs);
  EXPECT_TRUE(loop.quit);
  for (const char* page : {"gone04.htm", "gone05.htm", "gone06.htm"}) {
    EXPECT_TRUE(Contains(data_files.Get("/home/Data/Pages.DBF"), page));
    EXPECT_TRUE(Contains(data_files.Get("/home/Data/Exceptions.DBF"), page));
  }
}

TEST_F(EngineMailTest, ALoginIsMailed) {
  files.Put("/home/SETTINGS.INI",
            "[Vantry Settings]\r\nWebAccessPort= 9000\r\nEmailServer=mail.example\r\nEmailSendTo=a@example\r\n\r\n");
  ASSERT_TRUE(Start());
  bool done = false;
  engine->SendLoginMail("a@example", "somebody came", [&] { done = true; });
  ASSERT_EQ(mail.sent.size(), 1u);
  EXPECT_EQ(mail.sent[0].body, "somebody came");
  EXPECT_FALSE(done);
  mail.Turn();
  EXPECT_TRUE(done);
}

}  // namespace
}  // namespace vantry
