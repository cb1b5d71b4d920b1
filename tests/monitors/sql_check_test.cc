#include "monitors/sql_check.h"

#include <gtest/gtest.h>

#include "support/fake_sql_logon.h"
#include "support/fakes.h"
#include "support/memory_files.h"
#include "support/recording_exceptions.h"

namespace vantry {
namespace {

using Texts = std::vector<std::string>;

struct SqlCheckTest : ::testing::Test {
  LiveTables t;
  Settings settings;
  Regional regional;
  FakeClock clock;
  MemoryFiles files;
  RecordingView view;
  FakeSqlLogon server;
  RecordingExceptions exceptions;
  Texts errors;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [this](std::string_view b) { errors.emplace_back(b); }, [] {},
                  [](std::string_view) {}, [](std::string_view, EventLevel) {}}};
  SqlServerCheck check{{t, settings, regional, log, clock, files, view, server, exceptions}};

  SqlCheckTest() {
    settings.DDFPath = "/data/";
    settings.SQLServerName = "db1";
    settings.SQLServerMins = 1;
  }
  std::string Log() {
    std::string bytes;
    (void)files.Read("/data/SQLCHECK.LOG", bytes);
    return bytes;
  }
  void Succeed() {
    check.TimerTick();
    server.LetIn();
  }
  void Fail() {
    check.TimerTick();
    server.Fail("db1: no connection: connection refused");
  }
};

TEST_F(SqlCheckTest, TheFifteenthTickChecks) {
  settings.SQLServerMins = 15;
  for (int i = 0; i < 14; ++i) check.TimerTick();
  EXPECT_TRUE(server.tried.empty());
  check.TimerTick();
  EXPECT_EQ(server.tried.size(), 1u);
  server.LetIn();
  for (int i = 0; i < 14; ++i) check.TimerTick();
  EXPECT_EQ(server.tried.size(), 1u) << "counted from the start again";
  check.TimerTick();
  EXPECT_EQ(server.tried.size(), 2u);
}

TEST_F(SqlCheckTest, NoPeriodMeansEachTick) {
  for (const int32_t minutes : {0, -5, 1}) {
    settings.SQLServerMins = minutes;
    const size_t before = server.tried.size();
    Succeed();
    Succeed();
    EXPECT_EQ(server.tried.size(), before + 2) << minutes;
  }
}

TEST_F(SqlCheckTest, LogsOnAsTheSettingsSay) {
  settings.SQLServerName = "db1,1500";
  settings.SQLServerAuth = false;
  settings.SQLServerUser = "watcher";
  settings.SQLServerPass = "secret";
  check.TimerTick();
  ASSERT_EQ(server.tried.size(), 1u);
  EXPECT_EQ(server.tried[0].server, "db1,1500");
  EXPECT_FALSE(server.tried[0].trusted);
  EXPECT_EQ(server.tried[0].user, "watcher");
  EXPECT_EQ(server.tried[0].password, "secret");
}

TEST_F(SqlCheckTest, ASuccessRaisesNothing) {
  Succeed();
  EXPECT_TRUE(exceptions.calls.empty() && view.calls.empty());
  EXPECT_EQ(Log(), "3/5/2026 12:00:00 PM Successfully logged in and out of SQL Server db1 login=sa\r\n");
}

TEST_F(SqlCheckTest, OnlyAChangeIsRaisedAndEachCheckIsNoted) {
  Fail();
  EXPECT_TRUE(t.SQLFailed);
  EXPECT_EQ(exceptions.calls, Texts{"0|180|db1"});
  EXPECT_EQ(view.calls, Texts{"sql error"});
  Fail();
  EXPECT_EQ(exceptions.calls.size(), 1u);
  EXPECT_EQ(view.calls.size(), 1u);
  Succeed();
  EXPECT_FALSE(t.SQLFailed);
  EXPECT_EQ(exceptions.calls, (Texts{"0|180|db1", "0|181|db1"}));
  EXPECT_EQ(view.calls, (Texts{"sql error", "sql well"}));
  const std::string bad =
      "3/5/2026 12:00:00 PM Failed to login to SQL Server db1 login=db1: no connection: connection refused SERVER MAY "
      "BE "
      "DOWN!\r\n";
  EXPECT_EQ(Log(), bad + bad + "3/5/2026 12:00:00 PM Successfully logged in and out of SQL Server db1 login=sa\r\n");
}

TEST_F(SqlCheckTest, ATestByHandCountsAsACheck) {
  Texts told;
  const auto tell = [&](bool ok, const std::string& text) { told.push_back((ok ? "ok " : "bad ") + text); };
  check.SQLLogin(tell);
  EXPECT_TRUE(told.empty());
  server.Fail("db1: gone");
  EXPECT_EQ(exceptions.calls, Texts{"0|180|db1"});
  Succeed();
  EXPECT_EQ(exceptions.calls.back(), "0|181|db1");
  check.SQLLogin(tell);
  server.LetIn("watcher");
  EXPECT_EQ(told, (Texts{"bad db1: gone", "ok watcher"}));
}

TEST_F(SqlCheckTest, OneCheckAtATime) {
  Texts told;
  check.TimerTick();
  check.TimerTick();
  check.SQLLogin([&](bool, const std::string& text) { told.push_back(text); });
  EXPECT_EQ(server.tried.size(), 1u);
  server.LetIn();
  EXPECT_EQ(told, Texts{"sa"}) << "of the one under way";
  check.TimerTick();
  EXPECT_EQ(server.tried.size(), 2u);
}

TEST_F(SqlCheckTest, TheServerCheckedIsTheOneTold) {
  check.TimerTick();
  settings.SQLServerName = "db2";
  server.Fail("x");
  EXPECT_EQ(exceptions.calls, Texts{"0|180|db1"});
}

TEST_F(SqlCheckTest, NobodyIsToldOnceTheProgramCloses) {
  check.SQLLogin([](bool, const std::string&) { FAIL(); });
  t.Closing = true;
  server.Fail("x");
  EXPECT_TRUE(exceptions.calls.empty());
  EXPECT_EQ(Log(), "");
}

TEST_F(SqlCheckTest, ASuccessThatCannotBeNotedIsAFailure) {
  files.fails = [](const std::string& call) { return call == "append /data/SQLCHECK.LOG"; };
  bool well = true;
  check.SQLLogin([&](bool ok, const std::string&) { well = ok; });
  server.LetIn();
  EXPECT_FALSE(well);
  EXPECT_TRUE(t.SQLFailed);
  EXPECT_EQ(exceptions.calls, Texts{"0|180|db1"});
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_NE(errors[0].find(" From frmSQLServerCheck.Timer"), std::string::npos) << errors[0];
}

TEST(SqlCheckLine, IsOneLineWhateverItHolds) {
  const Regional regional;
  const WallTime noon{MakeDay(2026, 3, 5)->n * kSecondsPerDay + 12 * 3600};
  EXPECT_EQ(SqlCheckLine(regional, noon, false, "a\r\nb", "x\ny\xE4"),
            "3/5/2026 12:00:00 PM Failed to login to SQL Server a  b login=x y\xC3\xA4 SERVER MAY BE DOWN!\r\n");
  EXPECT_EQ(SqlCheckLine(regional, noon, true, "", ""),
            "3/5/2026 12:00:00 PM Successfully logged in and out of SQL Server  login=\r\n");
}

}  // namespace
}  // namespace vantry
