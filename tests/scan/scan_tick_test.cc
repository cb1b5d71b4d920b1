// The ticks: who is due, sleep, look-ups, rollover.
#include <gtest/gtest.h>

#include "scan/scan_cycle.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

struct TickTest : ::testing::Test {
  ScanRig rig;
  TickTest() {
    rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 3));
    rig.AddSite();
  }
};

TEST_F(TickTest, ScansWhenThePeriodHasPassedAndNotOnIt) {
  SiteRec& site = rig.t.Site(1);
  site.Frequency = 10;
  site.LastScanTime = rig.clock.Now();
  rig.clock.Advance(10);
  rig.scan.Timer1Tick();
  EXPECT_EQ(site.ScanCount, 0);
  rig.clock.Advance(1);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
  EXPECT_TRUE(rig.t.Site(1).CaughtUp);
  EXPECT_EQ(rig.exceptions.checks, 1);
  EXPECT_EQ(rig.t.Site(1).LastScanTime, rig.clock.Now());
}

TEST_F(TickTest, ClockThatIsSetBackDoesNotStopTheScans) {
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
  rig.clock.Advance(-3600);
  rig.scan.Timer1Tick();
  rig.clock.Advance(3);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 2);
}

TEST_F(TickTest, ClockThatIsSetBackDoesNotProlongVisits) {
  rig.settings.InactivityMins = 1;
  for (const int64_t back : {30, 300, 3600}) {
    rig.t.Site(1).LastTime = {};
    rig.t.Site(1).LastIP.clear();
    rig.Ready(1, 2);
    rig.Hit("10.0.0.7", "11:00:00", "/" + std::to_string(back) + ".htm");
    rig.t.Site(1).Frequency = 1'000'000;
    const int64_t since_view = 50;
    rig.clock.Advance(since_view);
    rig.scan.Timer1Tick();
    rig.clock.now.s -= back;
    rig.scan.Timer1Tick();
    rig.scan.Timer2Tick();
    EXPECT_NE(rig.Visitor("10.0.0.7"), nullptr) << back;
    rig.clock.Advance(130 - since_view);
    rig.scan.Timer2Tick();
    EXPECT_EQ(rig.Visitor("10.0.0.7"), nullptr) << back;
  }
}

TEST_F(TickTest, ViewCountedAfterTheClockWasSetBackKeepsItsTime) {
  rig.t.Site(1).Frequency = 1'000'000;
  rig.scan.Timer1Tick();
  rig.clock.Advance(1);
  rig.clock.now.s -= 3600;
  rig.Ready(1, 2);
  rig.Hit("10.0.0.7", "11:00:00", "/a.htm");
  rig.clock.Advance(1);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.Visitor("10.0.0.7")->LastClock.s, rig.clock.Now().s - 1);
}

TEST_F(TickTest, ClockThatIsSetBackDoesNotDelayTheExceptionsOfAnEmptySite) {
  rig.t.Site(1).ExLastLowCheck = rig.t.Site(1).ExLastHighCheck = rig.clock.Now();
  rig.scan.Timer1Tick();
  rig.clock.now.s -= 3600;
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ExLastLowCheck, rig.clock.Now());
  EXPECT_EQ(rig.t.Site(1).ExLastHighCheck, rig.clock.Now());
}

TEST_F(TickTest, FrequencyOfZeroScansAtEveryTick) {
  rig.t.Site(1).Frequency = 0;
  for (int i = 0; i < 3; ++i) {
    rig.clock.Advance(2);
    rig.scan.Timer1Tick();
  }
  EXPECT_EQ(rig.t.Site(1).ScanCount, 3);
}

TEST_F(TickTest, PausedSitesRest) {
  rig.t.Site(1).Paused = true;
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 0);
}

TEST_F(TickTest, DeletedSiteStillScansUntilItIsPaused) {
  rig.t.Site(1).Deleted = true;
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
}

TEST_F(TickTest, TellsTheWindowAboutTheTick) {
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.view.calls.front(), "status Scanning...");
  EXPECT_EQ(rig.view.calls.back(), "status ");
  EXPECT_EQ(rig.view.Count("tip Vantry: [2 Visitors]"), 1);
  EXPECT_EQ(rig.daily.archive_checks, 1);
}

TEST_F(TickTest, ArchiverThatCantBeStartedEndsTheTick) {
  rig.daily.archive_answer = Status::Error(Fail::kIo, "VTArchive.EXE: no program");
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 0);
  rig.daily.archive_answer = {};
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
}

TEST_F(TickTest, PauseInsideAScanEndsTheTickBehindIt) {
  rig.AddSite();
  rig.monitoring = false;
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
  EXPECT_EQ(rig.t.Site(2).ScanCount, 0);
}

TEST_F(TickTest, LookupIsForcedAbove15MinutesOr30ForFtp) {
  rig.ftp.file = "remote.log";
  for (const bool ftp : {false, true}) {
    ScanRig one;
    SiteRec& site = one.AddSite();
    site.FTP = ftp;
    site.ForceLookup = false;
    site.Frequency = 1'000'000;
    const int limit = ftp ? 30 : 15;
    one.clock.Advance(limit * 60);
    one.scan.Timer1Tick();
    EXPECT_FALSE(one.t.Site(1).ForceLookup);
    one.clock.Advance(60);
    one.scan.Timer1Tick();
    EXPECT_TRUE(one.t.Site(1).ForceLookup);
  }
}

TEST_F(TickTest, SleepPausesBetweenItsTimesAndNeverOverMidnight) {
  SiteRec& site = rig.t.Site(1);
  site.Frequency = 1'000'000;
  site.SleepMode = true;
  site.SleepStart = 12 * 3600;
  site.SleepEnd = 13 * 3600;
  rig.scan.Timer1Tick();
  EXPECT_FALSE(site.Paused) << "exactly at the start";
  rig.clock.Advance(1);
  rig.scan.Timer1Tick();
  EXPECT_TRUE(site.Paused && site.Sleeping);
  rig.clock.Advance(3599);
  rig.scan.Timer1Tick();
  EXPECT_TRUE(site.Sleeping) << "exactly at the end";
  rig.clock.Advance(1);
  rig.scan.Timer1Tick();
  EXPECT_FALSE(site.Sleeping || site.Paused);
  site.SleepStart = 22 * 3600;
  site.SleepEnd = 6 * 3600;
  rig.clock.Advance(10 * 3600);
  rig.scan.Timer1Tick();
  EXPECT_FALSE(site.Sleeping);
}

TEST_F(TickTest, ADayListThatDroppedRowsIsToldOnceAndAtTheEndOfTheDay) {
  const auto add = [&](size_t rows) {
    for (size_t i = 0; i < rows; ++i) rig.t.exGrid.Add({{{}, 1}, 404, 1, "x"});
  };
  const auto ticks_say = [&] {
    rig.program_log.clear();
    for (int i = 0; i < 3; ++i) rig.scan.Timer1Tick();
    return rig.program_log;
  };
  add(DayList<ExceptionRow>::kMaxRows);
  EXPECT_EQ(ticks_say(), "");
  add(2);
  EXPECT_TRUE(
      ticks_say().ends_with(" The list of today's exceptions is full: it drops its oldest rows, 2 so far. "
                            "Counters and tables have all of them.\r\n"));
  add(3);
  EXPECT_EQ(ticks_say(), "");
  rig.clock.Advance(12 * 3600 + 60);
  EXPECT_TRUE(
      ticks_say().ends_with(" The list of today's exceptions dropped 5 rows in all. "
                            "Counters and tables have all of them.\r\n"));
  EXPECT_EQ(rig.t.exGrid.RowCount(), 0u);
  add(1);
  EXPECT_EQ(ticks_say(), "");
}

TEST_F(TickTest, RolloverRunsOnceInTheMinute0001) {
  rig.AddSite().EmailDailyReport = true;
  rig.scan.Timer1Tick();
  rig.t.CurrentView = 1;
  rig.t.Alerts.push_back({});
  rig.t.Alerts[0].AlertHits = 4;
  rig.t.logGrid.Add({});
  rig.t.spiderGrid.Add({});
  rig.t.exGrid.Add({{{}, 1}, 404, 1, "x"});
  for (SiteRec& site : rig.t.Sites) site.TodayAlerts = site.TodayDownloads = site.PeakToday = 5;
  rig.history.on_summaries = [&] {
    for (const SiteRec& site : rig.t.Sites)
      EXPECT_EQ(site.TodayAlerts, 5) << "all days are stored before any is cleared";
  };
  const Day today = rig.t.Today;
  rig.t.Site(2).Paused = true;   // Its scan would take a new peak at once.
  rig.clock.Advance(12 * 3600);  // 00:00 of the next day.
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Today, today) << "the first minute of a day still belongs to the day before";
  rig.clock.Advance(60);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Today.n, today.n + 1);
  EXPECT_EQ(rig.daily.reports, std::vector<int16_t>{2});
  EXPECT_EQ(rig.history.Count("summaries"), 1);
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 0);
  EXPECT_EQ(rig.t.Site(2).TodayAlerts, 0);
  EXPECT_EQ(rig.t.Site(2).PeakToday, 0);
  EXPECT_EQ(rig.t.TodayVisitorCount, 0);
  EXPECT_EQ(rig.t.Alerts[0].AlertHits, 0);
  EXPECT_EQ(rig.t.logGrid.RowCount() + rig.t.spiderGrid.RowCount() + rig.t.exGrid.RowCount(), 0u);
  EXPECT_EQ(rig.t.CurrentView, 1) << "the view shown before is back";
  EXPECT_EQ(rig.t.Visitors.Count(), 2 + 2) << "a visit may run over midnight";
  rig.clock.Advance(30);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.daily.reports.size(), 1u);
  rig.clock.Advance(60);
  rig.scan.Timer1Tick();
  EXPECT_FALSE(rig.t.RolloverDone);
}

}  // namespace
}  // namespace vantry
