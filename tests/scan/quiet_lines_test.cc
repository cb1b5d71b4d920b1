// Lines from before the start of the program.
#include "core/quiet_lines.h"

#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

struct QuietLinesTest : ::testing::Test {
  ScanRig rig;
  QuietLinesTest() {
    rig.AddSite();
    rig.t.Started = rig.clock.now;
    rig.t.InterfaceCount = 1;
  }
  void Log(const std::string& lines) { rig.files.Put("/logs/a.log", lines); }
};

TEST_F(QuietLinesTest, AreThoseOfALogThatNobodyHasReadBefore) {
  rig.t.Corrected.QuietFirstScan = true;
  Log(ScanRig::NcsaLines(0, 9));
  rig.Scan();
  SiteRec& site = rig.t.Site(1);
  EXPECT_TRUE(site.ReadFromStart && site.ReadOnce);
  EXPECT_EQ(site.FirstScanVisitors, 9);
  EXPECT_FALSE(IsQuietLine(rig.t, site)) << "no line is being read";
  site.Scanning = true;
  EXPECT_TRUE(IsQuietLine(rig.t, site));
  rig.t.Corrected.QuietFirstScan = false;
  EXPECT_FALSE(IsQuietLine(rig.t, site));
}

TEST_F(QuietLinesTest, AreNotThoseThatCameWhileTheProgramDidNotRun) {
  rig.t.Corrected.QuietFirstScan = true;
  Log(ScanRig::NcsaLines(0, 9));
  rig.t.Site(1).LastLogFile = "/logs/a.log";
  rig.t.Site(1).LastReadPos = 1;
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 9);
  EXPECT_FALSE(rig.t.Site(1).ReadFromStart);
}

TEST_F(QuietLinesTest, TellNoListener) {
  const std::string lines =
      ScanRig::Ncsa("10.0.0.1", "08:00:00", "/a.htm") + "\n" + ScanRig::Ncsa("10.0.0.1", "08:00:01", "/b.htm") + "\n" +
      ScanRig::Ncsa("10.0.0.1", "10:00:01", "/c.htm") + "\n" + ScanRig::Ncsa("10.0.0.1", "10:00:02", "/d.htm") + "\n";
  rig.t.Corrected.QuietFirstScan = true;
  Log(lines);
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 2);
  EXPECT_TRUE(rig.events.calls.empty());
  ScanRig classic;
  classic.AddSite();
  classic.t.InterfaceCount = 1;
  classic.files.Put("/logs/a.log", lines);
  classic.Scan();
  EXPECT_FALSE(classic.events.calls.empty());
}

// All visits of the day are in the table after a first scan.
TEST_F(QuietLinesTest, MakeNoCrowd) {
  for (const bool corrected : {false, true}) {
    ScanRig day;
    day.t.Corrected.QuietFirstScan = corrected;
    day.AddSite();
    std::string lines;
    for (int hour = 0; hour < 12; ++hour) {
      lines += ScanRig::Ncsa("10.0.0." + std::to_string(hour), PadNumber(hour, 2) + ":59:00", "/a.htm") + "\n";
    }
    day.files.Put("/logs/a.log", lines);
    day.scan.Timer1Tick();
    EXPECT_EQ(day.exceptions.checks, 1);
    EXPECT_EQ(day.t.Site(1).CurrentVisitors, corrected ? 1 : 12);
    EXPECT_EQ(day.t.Site(1).TodayVisitors, 12);
  }
}

}  // namespace
}  // namespace vantry
