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

TEST_F(TickTest, RolloverRunsOnceInTheMinute0001) {
  rig.AddSite().EmailDailyReport = true;
  rig.scan.Timer1Tick();
  rig.t.CurrentView = 1;
  rig.t.Alerts.push_back({});
  rig.t.Alerts[0].AlertHits = 4;
  rig.t.logGrid.AddRow("1:x");
  rig.t.spiderGrid.AddRow("1:x");
  rig.t.exGrid.AddRow("1:x");
  for (SiteRec& site : rig.t.Sites) site.TodayAlerts = site.TodayDownloads = site.PeakToday = 5;
  rig.history.on_summaries = [&] {
    for (const SiteRec& site : rig.t.Sites) EXPECT_EQ(site.TodayAlerts, 5) << "all days are stored before any is cleared";
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
