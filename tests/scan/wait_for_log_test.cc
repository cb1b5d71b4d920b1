// With the correction WaitForLog a log that is not there, empty or only a header is waited for.
#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

struct WaitRig : ScanRig {
  static constexpr char kLog[] = "/logs/access.log";
  explicit WaitRig(bool on, LogType type = LogType::kNCSA) {
    t.Corrected.WaitForLog = on;
    AddSite(type).Frequency = 600;
    t.Site(1).LastScanTime.s -= 600;
  }
  // Ticks until this many seconds have passed.
  void Pass(int seconds) {
    for (int i = 0; i < seconds; i += 2) {
      clock.Advance(2);
      scan.Timer1Tick();
    }
  }
};

TEST(WaitForLog, MissingLogIsToldOnceAndLookedForEveryMinute) {
  for (const bool on : {false, true}) {
    WaitRig rig(on);
    rig.Pass(300);
    EXPECT_EQ(rig.t.Site(1).Paused, !on);
    rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 4));
    rig.Pass(64);
    EXPECT_EQ(rig.t.Visitors.Count(), on ? 3 : 0);
    if (!on) continue;
    ASSERT_EQ(rig.notices.told.size(), 1u);
    EXPECT_EQ(rig.notices.told[0], "Site Site 1: no log file fits /logs/*.LOG. It is looked for every minute.");
    EXPECT_TRUE(Contains(rig.program_log, "no log file fits /logs/*.LOG"));
    EXPECT_TRUE(rig.notices.boxes.empty() || !Contains(rig.notices.boxes[0], "No log file was found"));
    const int scans = rig.t.Site(1).ScanCount;
    rig.Pass(530);
    EXPECT_EQ(rig.t.Site(1).ScanCount, scans) << "back to its own period";
  }
}

TEST(WaitForLog, AFolderThatCantBeReadIsToldAsSuch) {
  WaitRig rig(true);
  rig.files.fails = [](const std::string& call) { return call == "list /logs/"; };
  rig.Pass(200);
  ASSERT_EQ(rig.notices.told.size(), 1u);
  EXPECT_EQ(rig.notices.told[0], "Site Site 1: /logs/: broken on command. It is looked for every minute.");
  rig.files.fails = nullptr;
  rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 4));
  rig.Pass(64);
  EXPECT_EQ(rig.t.Visitors.Count(), 3);
}

TEST(WaitForLog, ServiceIsToldInItsLog) {
  WaitRig rig(true);
  rig.t.ServiceMode = true;
  rig.Pass(200);
  ASSERT_EQ(rig.notices.events.size(), 1u);
  EXPECT_TRUE(Contains(rig.notices.events[0], "no log file fits /logs/*.LOG"));
  EXPECT_TRUE(rig.notices.told.empty());
}

TEST(WaitForLog, LogThatGoesAwayIsWaitedForToo) {
  WaitRig rig(true);
  rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 4));
  rig.Pass(4);
  rig.files.entries.erase(rig.kLog);
  rig.t.Site(1).ForceLookup = true;
  rig.Pass(604);
  EXPECT_FALSE(rig.t.Site(1).Paused);
  EXPECT_EQ(rig.notices.told.size(), 1u);
  rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 6));
  rig.Pass(64);
  EXPECT_EQ(rig.t.Visitors.Count(), 5);
}

TEST(WaitForLog, EmptyLogIsToldOnceAndReadWhenItFills) {
  WaitRig rig(true);
  rig.files.Put(rig.kLog, "");
  rig.Pass(300);
  EXPECT_FALSE(rig.t.Site(1).Paused);
  ASSERT_EQ(rig.notices.told.size(), 1u);
  EXPECT_TRUE(Contains(rig.notices.told[0], "/logs/access.log is empty"));
  rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 4));
  rig.Pass(604);
  EXPECT_EQ(rig.t.Visitors.Count(), 3);
}

TEST(WaitForLog, LogThatIsOnlyAHeaderDoesNotPauseItsSite) {
  for (const bool on : {false, true}) {
    for (const bool whole : {false, true}) {
      WaitRig rig(on, LogType::kW3C);
      rig.t.Corrected.WholeLines = whole;
      rig.files.Put(rig.kLog, "#Software: Server\r\n#Version: 1.0\r\n");
      rig.Pass(100);
      EXPECT_EQ(rig.t.Site(1).Paused, !on);
      rig.files.entries[rig.kLog]->bytes +=
          "#Fields: date time c-ip cs-uri-stem\r\n2026-03-05 11:00:00 10.0.0.1 /a.htm\r\n";
      rig.Pass(604);
      EXPECT_EQ(rig.t.Visitors.Count(), on ? 1 : 0);
      EXPECT_EQ(rig.notices.told.size(), on ? 1u : 0u);
    }
  }
}

// This is no log of the site's type; waiting would help nobody.
TEST(WaitForLog, LinesWithoutAnyHeaderPauseTheSiteAsEver) {
  for (const bool whole : {false, true}) {
    WaitRig rig(true, LogType::kW3C);
    rig.t.Corrected.WholeLines = whole;
    rig.files.Put(rig.kLog, ScanRig::NcsaLines(1, 2));
    rig.Pass(4);
    EXPECT_TRUE(rig.t.Site(1).Paused);
    EXPECT_TRUE(Contains(rig.program_log, "no #Field definition lines were found"));
  }
}

}  // namespace
}  // namespace vantry
