// What a replay leaves as it was.
#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

struct ScanReplayTest : ::testing::Test {
  ScanRig rig;
  ScanReplayTest() {
    rig.t.Corrected.QuietReplay = true;
    rig.settings.InactivityMins = 20;
  }
  // A site whose log was read up to its last line by an earlier run.
  SiteRec& Restarted(const std::string& lines) {
    SiteRec& site = rig.AddSite();
    rig.files.Put("/logs/a.log", lines);
    site.LastLogFile = "/logs/a.log";
    site.LastReadPosDay = 1;
    site.LastReadPos = static_cast<int64_t>(lines.rfind('\n', lines.size() - 2)) + 2;
    site.LastReadDateTime = {rig.clock.now.s - 60};
    return site;
  }
};

TEST_F(ScanReplayTest, TheVisitorWhoLeftLastIsReadAgain) {
  for (const bool corrected : {false, true}) {
    ScanRig day;
    day.t.Corrected.QuietReplay = corrected;
    SiteRec& site = day.AddSite();
    const std::string lines = ScanRig::NcsaLines(0, 5);
    day.files.Put("/logs/a.log", lines);
    site.LastLogFile = "/logs/a.log";
    site.LastReadPosDay = 1;
    site.LastReadPos = static_cast<int64_t>(lines.rfind('\n', lines.size() - 2)) + 2;
    site.LastReadDateTime = {day.clock.now.s - 60};
    site.LastIP = "10.0.0.2";
    site.LastTime = site.LastReadDateTime;
    day.Scan();
    EXPECT_EQ(day.t.Site(1).TodayVisitors, corrected ? 5 : 4);
  }
}

TEST_F(ScanReplayTest, VisitsAreCutWhereTheyWereCut) {
  // 25 minutes, 20 minutes, and a reload in between that is no view.
  const std::string lines =
      ScanRig::Ncsa("10.0.0.1", "08:00:00", "/a.htm") + "\n" + ScanRig::Ncsa("10.0.0.1", "08:25:00", "/b.htm") + "\n" +
      ScanRig::Ncsa("10.0.0.1", "08:45:00", "/c.htm") + "\n" + ScanRig::Ncsa("10.0.0.1", "08:50:00", "/c.htm") + "\n" +
      ScanRig::Ncsa("10.0.0.1", "09:06:00", "/d.htm") + "\n" + ScanRig::Ncsa("10.0.0.2", "11:00:00", "/x.htm") + "\n";
  const auto start = [](const char* time) { return MakeLogTime(*MakeDay(2026, 3, 5), *ParseTime(time)).s; };
  Restarted(lines);
  rig.history.knows_visits = true;
  rig.history.visits = {
      {"1:10.0.0.1", start("08:00:00")}, {"1:10.0.0.1", start("08:45:00")}, {"1:10.0.0.1", start("09:06:00")}};
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 3 + 1);
  EXPECT_EQ(rig.history.Count("end 1:10.0.0.1"), 2);
}

TEST_F(ScanReplayTest, WithoutAHistoryTheGapsOfTheLogCut) {
  Restarted(ScanRig::Ncsa("10.0.0.1", "08:00:00", "/a.htm") + "\n" + ScanRig::Ncsa("10.0.0.1", "08:20:00", "/b.htm") +
            "\n" + ScanRig::Ncsa("10.0.0.1", "08:41:00", "/c.htm") + "\n" +
            ScanRig::Ncsa("10.0.0.2", "11:00:00", "/x.htm") + "\n");
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 2 + 1);
}

}  // namespace
}  // namespace vantry
