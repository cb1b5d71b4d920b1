// With the correction Immediate a log is read when it changes.
#include "scan/log_watch.h"

#include <gtest/gtest.h>

#include "support/fake_watch.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

struct WatchRig : ScanRig {
  FakeWatch folder_watch;
  LogWatch log_watch{context, scan, folder_watch, [this] { return monitoring; }};
  int line = 1;

  WatchRig() {
    AddSite().Mask = "access.log";
    t.Site(1).Frequency = 600;
    files.Put("/logs/access.log", NcsaLines(1, 2));
    Scan();
    log_watch.Start();
  }
  void Write(int16_t = 1) {
    ++line;
    files.entries["/logs/access.log"]->bytes += NcsaLines(line, line + 1);
    folder_watch.changed("/logs/", "access.log", false);
  }
  void PassMs(int ms) {
    for (int i = 0; i < ms; i += 10) {
      clock.steady.ms += 10;
      loop.Tick(LogWatch::kTickMs);
    }
  }
};

TEST(LogWatch, ChangeIsReadAtOnce) {
  WatchRig rig;
  EXPECT_EQ(rig.folder_watch.folders, std::set<std::string>{"/logs/"});
  rig.Write();
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
  EXPECT_EQ(rig.t.Site(1).ScanCount, 2);
}

TEST(LogWatch, SiteIsReadTenTimesASecondAtMost) {
  WatchRig rig;
  for (int i = 0; i < 50; ++i) {
    rig.Write();
    rig.PassMs(20);
  }
  rig.PassMs(100);
  EXPECT_EQ(rig.t.Visitors.Count(), 51) << "nothing is forgotten";
  EXPECT_LE(rig.t.Site(1).ScanCount, 1 + 12);
  EXPECT_GE(rig.t.Site(1).ScanCount, 1 + 9);
}

TEST(LogWatch, NothingTicksWhileNothingChanges) {
  WatchRig rig;
  rig.Write();
  rig.PassMs(200);
  for (const FakeLoop::FakeTimer* timer : rig.loop.timers) {
    EXPECT_FALSE(timer->period_ms == LogWatch::kTickMs && timer->enabled);
  }
}

TEST(LogWatch, ChangeDuringAScanIsReadAfterIt) {
  WatchRig rig;
  rig.t.ScanInProgress = true;
  rig.Write();
  rig.PassMs(500);
  EXPECT_EQ(rig.t.Visitors.Count(), 1);
  rig.t.ScanInProgress = false;
  rig.PassMs(20);
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST(LogWatch, PausedSitesAndPausedMonitoringAreLeftAlone) {
  WatchRig rig;
  rig.t.Site(1).Paused = true;
  rig.Write();
  rig.PassMs(200);
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
  rig.t.Site(1).Paused = false;
  rig.monitoring = false;
  rig.Write();
  rig.PassMs(200);
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
}

TEST(LogWatch, OtherFilesOfTheFolderDoNotStartAScan) {
  WatchRig rig;
  rig.folder_watch.changed("/logs/", "error.log", false);
  rig.folder_watch.changed("/elsewhere/", "access.log", false);
  rig.PassMs(200);
  EXPECT_EQ(rig.t.Site(1).ScanCount, 1);
}

TEST(LogWatch, LogThatComesIsLookedForAtOnce) {
  WatchRig rig;
  rig.t.Corrected.WaitForLog = true;
  rig.files.entries.erase("/logs/access.log");
  rig.t.Site(1).ForceLookup = true;
  rig.Scan();
  EXPECT_TRUE(rig.t.Site(1).WaitsForLog);
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 5));
  rig.folder_watch.changed("/logs/", "access.log", true);
  rig.PassMs(110);
  EXPECT_EQ(rig.t.Visitors.Count(), 4);
}

TEST(LogWatch, LimitOfWatchesIsToldOnceAndThePeriodGoesOn) {
  WatchRig rig;
  rig.folder_watch.most = 1;
  for (int i = 0; i < 3; ++i) rig.AddSite().Folder = "/logs" + std::to_string(i) + "/";
  rig.loop.Tick(LogWatch::kFoldersMs);
  rig.loop.Tick(LogWatch::kFoldersMs);
  ASSERT_EQ(rig.notices.told.size(), 1u);
  EXPECT_TRUE(Contains(rig.notices.told[0], "are read at their periods"));
  rig.Write();
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST(LogWatch, ChecksOfAPeriodStayAtThePeriod) {
  WatchRig rig;
  rig.t.Site(1).Frequency = 10;
  rig.exceptions.checks = 0;
  for (int i = 0; i < 200; ++i) {
    rig.clock.now.s += i % 10 == 0 ? 1 : 0;
    rig.Write();
    rig.PassMs(100);
  }
  EXPECT_LE(rig.exceptions.checks, 3);
  EXPECT_GE(rig.exceptions.checks, 1);
}

TEST(LogWatch, ThousandSitesOfOneFolderShareItsWatch) {
  WatchRig rig;
  for (int i = 0; i < 1'000; ++i) rig.AddSite().Mask = "other.log";
  rig.loop.Tick(LogWatch::kFoldersMs);
  EXPECT_EQ(rig.folder_watch.folders.size(), 1u);
  rig.Write();
  EXPECT_EQ(rig.t.Site(1).ScanCount, 2);
  EXPECT_EQ(rig.t.Site(2).ScanCount, 0);
}

}  // namespace
}  // namespace vantry
