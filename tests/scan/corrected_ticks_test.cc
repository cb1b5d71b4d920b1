// The ticks with their corrections: the end of a day, sleep, first scans. The classic side stands in scan_tick_test.cc.
#include <gtest/gtest.h>

#include "scan/scan_cycle.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

struct CorrectedTickTest : ::testing::Test {
  ScanRig rig;
  CorrectedTickTest() { rig.AddSite(); }
  // To a time of 5 March, or of later days with more than 24 hours.
  void ClockTo(int hour, int minute, int second) {
    rig.clock.now.s = MakeDay(2026, 3, 5)->n * kSecondsPerDay + hour * 3600 + minute * 60 + second;
  }
  void Write(const std::string& ip, const std::string& stamp) {
    (void)rig.files.Append("/logs/access.log",
                           ip + " - - [" + stamp + " +0000] \"GET /a.htm HTTP/1.0\" 200 1 \"-\" \"B\"\n");
  }
  void ReadAll() {
    rig.t.Site(1).LastScanTime = {};
    rig.scan.Timer1Tick();
  }
};

struct DayEndTest : CorrectedTickTest {
  DayEndTest() {
    rig.t.Corrected.CatchUpRollover = true;
    ClockTo(23, 59, 50);
    Write("10.0.0.1", "05/Mar/2026:23:59:40");
    ReadAll();
  }
  Day today{rig.t.Today};
};

TEST_F(DayEndTest, FirstTickAfterMidnightChangesTheDayWheneverItComes) {
  for (const auto& [hour, minute] :
       {std::pair{24, 0}, std::pair{24, 1}, std::pair{24, 2}, std::pair{31, 45}, std::pair{72, 30}}) {
    ScanRig one;
    one.t.Corrected.CatchUpRollover = true;
    one.AddSite().Paused = true;
    one.t.Site(1).TodayDownloads = 4;
    one.scan.Timer1Tick();
    one.clock.now.s = today.n * kSecondsPerDay + 86'399;
    one.scan.Timer1Tick();
    EXPECT_EQ(one.t.Today, today);
    EXPECT_EQ(one.history.Count("summaries"), 0);
    one.clock.now.s = today.n * kSecondsPerDay + hour * 3600 + minute * 60;
    for (int i = 0; i < 3; ++i) {
      one.scan.Timer1Tick();
      EXPECT_EQ(one.t.Today, DayOf(one.clock.Now()));
      EXPECT_EQ(one.history.Count("summaries"), 1);
      one.clock.Advance(59);
    }
    EXPECT_EQ(one.t.Site(1).TodayDownloads, 0);
  }
}

TEST_F(DayEndTest, ClassicDayThatMeetsNoTickInItsMinuteDoesNotEnd) {
  rig.t.Corrected.CatchUpRollover = false;
  ClockTo(24, 0, 59);
  rig.scan.Timer1Tick();
  ClockTo(24, 2, 0);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Today, today);
}

TEST_F(DayEndTest, LinesOfTheFirstMinuteCountForTheNewDayAndLateOnesForNone) {
  ClockTo(24, 0, 1);
  Write("10.0.0.2", "06/Mar/2026:00:00:00");
  Write("10.0.0.3", "05/Mar/2026:23:59:59");
  Write("10.0.0.4", "06/Mar/2026:00:00:01");
  ReadAll();
  EXPECT_NE(rig.Visitor("10.0.0.2"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.3"), nullptr);
  EXPECT_NE(rig.Visitor("10.0.0.4"), nullptr);
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 2);
}

// A scan that runs over midnight, or a server whose clock is a little ahead.
TEST_F(DayEndTest, LineOfTheNewDayThatIsReadBeforeTheTickWaitsForIt) {
  for (const bool last : {false, true}) {
    SCOPED_TRACE(last);
    ScanRig one;
    std::swap(one.files.entries, rig.files.entries);
    one.t.Corrected.CatchUpRollover = true;
    one.AddSite();
    one.clock.now.s = today.n * kSecondsPerDay + 86'390;
    const std::string before = one.files.Get("/logs/access.log");
    std::swap(one.files.entries, rig.files.entries);
    one.files.Put(
        "/logs/access.log",
        before + "10.0.0.2 - - [05/Mar/2026:23:59:50 +0000] \"GET /a.htm HTTP/1.0\" 200 1 \"-\" \"B\"\n" +
            "10.0.0.3 - - [06/Mar/2026:00:00:01 +0000] \"GET /a.htm HTTP/1.0\" 200 1 \"-\" \"B\"\n" +
            (last ? "" : "10.0.0.4 - - [06/Mar/2026:00:00:02 +0000] \"GET /b.htm HTTP/1.0\" 200 1 \"-\" \"B\"\n"));
    one.scan.Timer1Tick();
    EXPECT_NE(one.Visitor("10.0.0.2"), nullptr);
    EXPECT_EQ(one.Visitor("10.0.0.3"), nullptr);
    EXPECT_FALSE(one.t.Site(1).Scanning || one.t.ScanInProgress);
    one.t.Site(1).LastScanTime = {};
    one.scan.Timer1Tick();
    EXPECT_EQ(one.Visitor("10.0.0.3"), nullptr) << "as long as it is not midnight";
    one.clock.now.s += 12;
    one.t.Site(1).LastScanTime = {};
    one.scan.Timer1Tick();
    EXPECT_NE(one.Visitor("10.0.0.3"), nullptr);
    EXPECT_EQ(one.Visitor("10.0.0.4") != nullptr, !last);
    EXPECT_EQ(one.t.Site(1).TodayVisitors, last ? 1 : 2);
  }
}

TEST_F(DayEndTest, LinesOfAFarFutureAreDroppedAndHoldUpNobody) {
  Write("10.0.0.2", "06/Mar/2026:00:10:01");
  Write("10.0.0.3", "07/Mar/2027:10:00:00");
  Write("10.0.0.4", "05/Mar/2026:23:59:50");
  Write("10.0.0.5", "05/Mar/2026:23:59:51");
  ReadAll();
  EXPECT_NE(rig.Visitor("10.0.0.4"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.2"), nullptr);
  ClockTo(24, 11, 0);
  ReadAll();
  EXPECT_EQ(rig.Visitor("10.0.0.2"), nullptr);
}

TEST_F(DayEndTest, ClockSetBackOverMidnightChangesNothingAtOnce) {
  ClockTo(24, 0, 5);
  rig.scan.Timer1Tick();
  ClockTo(23, 59, 55);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Today.n, today.n + 1);
  ClockTo(24, 0, 1);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.history.Count("summaries"), 1);
  // A clock that really was a day ahead is believed at the next end of a day.
  ClockTo(1, 30, 0);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Today.n, today.n + 1);
  ClockTo(0, 1, 0);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Today, today);
}

struct SleepTest : CorrectedTickTest {
  SleepTest() {
    rig.t.Corrected.SleepOverMidnight = true;
    Put(22, 6);
  }
  void Put(int start, int end) {
    SiteRec& site = rig.t.Site(1);
    site.Frequency = 1'000'000;
    site.SleepMode = true;
    site.SleepStart = start * 3600;
    site.SleepEnd = end * 3600;
  }
  bool SleepsAt(int hour, int minute, int second) {
    ClockTo(hour, minute, second);
    rig.scan.Timer1Tick();
    EXPECT_EQ(rig.t.Site(1).Paused, rig.t.Site(1).Sleeping);
    return rig.t.Site(1).Sleeping;
  }
};

TEST_F(SleepTest, LastsOverMidnight) {
  EXPECT_FALSE(SleepsAt(21, 59, 59));
  EXPECT_FALSE(SleepsAt(22, 0, 0));
  EXPECT_TRUE(SleepsAt(22, 0, 1));
  EXPECT_TRUE(SleepsAt(23, 59, 59));
  EXPECT_TRUE(SleepsAt(24, 0, 0));
  EXPECT_TRUE(SleepsAt(30, 0, 0));
  EXPECT_FALSE(SleepsAt(30, 0, 1));
  EXPECT_FALSE(SleepsAt(36, 0, 0));
  EXPECT_TRUE(SleepsAt(46, 0, 1));
}

TEST_F(SleepTest, BeginsInTheMiddleOfItsPeriod) {
  EXPECT_TRUE(SleepsAt(3, 0, 0));
  EXPECT_FALSE(SleepsAt(7, 0, 0));
}

TEST_F(SleepTest, OfADayIsAsItWas) {
  Put(12, 13);
  EXPECT_FALSE(SleepsAt(12, 0, 0));
  EXPECT_TRUE(SleepsAt(12, 0, 1));
  EXPECT_TRUE(SleepsAt(13, 0, 0));
  EXPECT_FALSE(SleepsAt(13, 0, 1));
  EXPECT_TRUE(SleepsAt(36, 30, 0));
  EXPECT_FALSE(SleepsAt(34, 0, 0)) << "a clock that was set back";
  Put(8, 8);
  EXPECT_FALSE(SleepsAt(8, 0, 0) || SleepsAt(8, 0, 1) || SleepsAt(20, 0, 0)) << "an empty period";
}

TEST_F(SleepTest, WakingLeavesASitePausedThatWasPausedByHand) {
  for (const bool corrected : {false, true}) {
    rig.t.Corrected.SleepOverMidnight = corrected;
    Put(12, 13);
    rig.t.Site(1).Paused = true;
    rig.t.Site(1).Sleeping = false;
    for (const int minute : {30, 90}) {
      ClockTo(12, minute, 0);
      rig.scan.Timer1Tick();
    }
    EXPECT_EQ(rig.t.Site(1).Paused, corrected);
    EXPECT_FALSE(rig.t.Site(1).Sleeping);
  }
}

TEST(KeepFixedLayout, FieldsLineInAFixedLayoutIsAComment) {
  for (const bool corrected : {false, true}) {
    ScanRig rig;
    rig.t.Corrected.KeepFixedLayout = corrected;
    rig.AddSite();
    rig.files.Put("/logs/access.log",
                  ScanRig::NcsaLines(1, 3) + "#Fields: date time c-ip\n" + ScanRig::NcsaLines(3, 6));
    rig.Scan();
    EXPECT_EQ(rig.t.Visitors.Count(), corrected ? 5 : 2);
    rig.files.entries["/logs/access.log"]->bytes += ScanRig::NcsaLines(6, 8);
    rig.Scan();
    EXPECT_EQ(rig.t.Visitors.Count(), corrected ? 7 : 2);
  }
}

TEST(KeepFixedLayout, FieldsThatTheClassicSideSavedAreForgotten) {
  ScanRig rig;
  rig.t.Corrected.KeepFixedLayout = true;
  rig.AddSite().LastFields = "DATE TIME C-IP";
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 3));
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST(KeepFixedLayout, LayoutOfALogWithHeadersStillFollowsThem) {
  for (const LogType type : {LogType::kW3C, LogType::kFirewall}) {
    ScanRig rig;
    rig.t.Corrected.KeepFixedLayout = true;
    rig.AddSite(type);
    rig.files.Put("/logs/ex.log",
                  type == LogType::kW3C
                      ? "#Fields: c-ip time date cs-uri-stem\r\n10.0.0.1 10:00:00 2026-03-05 /a.htm\r\n\r\n"
                      : "#Fields: dst-ip time date action\r\n10.0.0.1 10:00:00 2026-03-05 /a.htm\r\n\r\n");
    rig.Scan();
    EXPECT_NE(rig.Visitor("10.0.0.1"), nullptr);
  }
}

TEST(QuickStart, ThePortIsServedBetweenTwoScansAndNoTickComesInBetween) {
  for (const bool corrected : {false, true}) {
    ScanRig rig;
    rig.t.Corrected.QuickStart = corrected;
    rig.clock.ms_per_look = 10;
    rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 2));
    for (int i = 0; i < 5; ++i) rig.AddSite();
    rig.loop.on_turn = [&] {
      EXPECT_TRUE(rig.t.ScanInProgress);
      rig.scan.Timer1Tick();
      rig.scan.Timer2Tick();
    };
    rig.scan.Timer1Tick();
    EXPECT_EQ(rig.loop.turns, corrected ? 5 : 0);
    EXPECT_FALSE(rig.t.ScanInProgress);
    for (int16_t n = 1; n <= 5; ++n) EXPECT_EQ(rig.t.Site(n).ScanCount, 1);
    EXPECT_EQ(rig.history.flushes, corrected ? 0 : 10) << "a flush costs more than many a first scan";
    rig.Scan();
    EXPECT_GT(rig.history.flushes, corrected ? 0 : 10);
  }
}

TEST(QuickStart, StopAndPauseBetweenTwoScansEndTheTick) {
  for (const bool closing : {false, true}) {
    ScanRig rig;
    rig.t.Corrected.QuickStart = true;
    rig.clock.ms_per_look = 10;
    rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 2));
    for (int i = 0; i < 5; ++i) rig.AddSite();
    rig.loop.on_turn = [&] { (closing ? rig.t.Closing : rig.monitoring) = closing; };
    rig.scan.Timer1Tick();
    EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
    EXPECT_EQ(rig.t.Site(2).ScanCount, 0);
  }
}

}  // namespace
}  // namespace vantry
