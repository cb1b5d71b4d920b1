// When the monitors run: from the start, over a pause, and after an edit.
#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace vantry {
namespace {

constexpr char kTouched[] = "Touch=True\r\nTouchEvery=2\r\nTouchPage=index.htm\r\n";

struct MonitorTimers : EngineTest {
  void PutSettings(const std::string& more) {
    files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nWebAccessPort= 9000\r\n" + more + "\r\n");
  }
  void WatchSql(const char* minutes = "2") {
    PutSettings("SQLServer=True\r\nSQLServerName=db1\r\nSQLServerMins=" + std::string(minutes) + "\r\n");
  }
  void Minutes(int count) {
    for (int i = 0; i < count; ++i) {
      clock.Advance(60);
      loop.Tick(60'000);
    }
  }
};

TEST_F(MonitorTimers, NothingIsAskedWhenNothingIsOn) {
  Sites(2);
  ASSERT_TRUE(Start());
  Minutes(5);
  EXPECT_TRUE(http.asked.empty() && sql.tried.empty());
}

TEST_F(MonitorTimers, ASiteWithTouchIsAskedForInTheFirstMinute) {
  Sites(1, kTouched);
  ASSERT_TRUE(Start());
  Minutes(1);
  EXPECT_EQ(http.asked, std::vector<std::string>{"http://www.d1.example/index.htm"});
  http.Fail("www.d1.example: connection refused");
  const auto& row = *engine->Tables().exGrid.begin();
  EXPECT_EQ(row.number, 170);
  EXPECT_EQ(row.details, "Touch failed with error www.d1.example: connection refused. The web server may be down!");
  Minutes(3);
  http.Answer();
  EXPECT_EQ((engine->Tables().exGrid.end() - 1)->details, "Touch resumed. The web server is back up!");
}

TEST_F(MonitorTimers, TheSqlServerIsTriedAfterItsMinutes) {
  WatchSql();
  Sites(1);
  ASSERT_TRUE(Start());
  Minutes(1);
  EXPECT_TRUE(sql.tried.empty());
  Minutes(1);
  ASSERT_EQ(sql.tried.size(), 1u);
  sql.Fail("db1: gone");
  EXPECT_EQ(engine->Tables().exGrid.begin()->details, "Failed to logon to SQL Server db1. The SQL Server may be down!");
  EXPECT_TRUE(engine->Tables().SQLFailed);
  EXPECT_NE(files.Get("/home/Data/SQLCHECK.LOG").find(" login=db1: gone SERVER MAY BE DOWN!\r\n"), std::string::npos);
  Minutes(2);
  sql.LetIn();
  EXPECT_EQ((engine->Tables().exGrid.end() - 1)->details,
            "Logon to SQL Server db1 resumed. The SQL Server appears to be back on-line!");
}

TEST_F(MonitorTimers, APauseStopsBoth) {
  WatchSql("1");
  Sites(1, kTouched);
  ASSERT_TRUE(Start());
  engine->Pause();
  Minutes(5);
  EXPECT_TRUE(http.asked.empty() && sql.tried.empty());
  engine->Continue();
  Minutes(1);
  EXPECT_EQ(http.asked.size(), 1u);
  EXPECT_EQ(sql.tried.size(), 1u);
}

TEST_F(MonitorTimers, AResumeStartsTouchingWhetherOrNotASiteWantsIt) {
  Sites(1);
  ASSERT_TRUE(Start());
  engine->Tables().Site(1).Touch = true;
  Minutes(2);
  EXPECT_TRUE(http.asked.empty());
  engine->Pause();
  engine->Continue();
  Minutes(1);
  EXPECT_EQ(http.asked.size(), 1u);
  EXPECT_TRUE(sql.tried.empty()) << "the other follows its setting";
}

TEST_F(MonitorTimers, TheEndStopsBothAndBooksNothing) {
  WatchSql("1");
  Sites(1, kTouched);
  ASSERT_TRUE(Start());
  Minutes(1);
  engine->Closing();
  Minutes(5);
  EXPECT_EQ(http.asked.size(), 1u);
  EXPECT_EQ(sql.tried.size(), 1u);
  const int32_t raised = engine->Tables().TotalExceptionCount;
  http.Fail("late");
  sql.Fail("late");
  EXPECT_EQ(engine->Tables().TotalExceptionCount, raised);
}

TEST_F(MonitorTimers, AnEditSwitchesThemOn) {
  files.Put("/home/registry.ini", "[Corrections]\nKeepEdits=True\n");
  Sites(1);
  ASSERT_TRUE(Start());
  Minutes(1);
  files.clock_ns += 1'000'000'000;
  Sites(1, kTouched);
  WatchSql("1");
  engine->Reload();
  Minutes(1);
  EXPECT_EQ(http.asked.size(), 1u);
  EXPECT_EQ(sql.tried.size(), 1u);
  sql.LetIn();
  files.clock_ns += 1'000'000'000;
  PutSettings("");
  engine->Reload();
  Minutes(2);
  EXPECT_EQ(sql.tried.size(), 1u);
}

}  // namespace
}  // namespace vantry
