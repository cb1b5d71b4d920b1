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

// What the run before read of a log is told from what is new as long as this run has not read all of it again.
TEST_F(ScanReplayTest, FirstReadingLastsUntilTheLogIsFound) {
  for (const bool away : {false, true}) {
    ScanRig before, after;
    for (ScanRig* run : {&before, &after}) {
      run->t.Corrected.FollowRotation = run->t.Corrected.QuietReplay = run->t.Corrected.WaitForLog = true;
      run->AddSite().Mask = "access.log";
      run->t.Site(1).SelectMethod = FileChoice::kSameName;
    }
    before.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 4));
    before.Scan();
    static_cast<ReadState&>(after.t.Site(1)) = before.t.Site(1);
    after.files = before.files;
    MemoryFiles& files = after.files;
    files.entries["/logs/access.log.1"] = files.entries["/logs/access.log"];
    files.entries.erase("/logs/access.log");
    files.entries["/logs/access.log.1"]->bytes += ScanRig::NcsaLines(4, 5);
    if (!away) {
      files.Put("/logs/access.log", ScanRig::NcsaLines(5, 6));
      files.fails = [&, n = 10](const std::string& call) mutable {
        if (StartsWith(call, "list ")) files.Put("/logs/access.log." + std::to_string(++n), "");
        return false;
      };
    }
    after.Scan();
    EXPECT_FALSE(after.t.Site(1).ReadOnce);
    files.fails = nullptr;
    if (away) files.Put("/logs/access.log", ScanRig::NcsaLines(5, 6));
    after.Scan();
    EXPECT_TRUE(after.t.Site(1).ReadOnce);
    EXPECT_EQ(after.t.Site(1).PagesCounted, 5);
  }
}

// Each line is of an address, a time and a page. Read in one go, and a line at each scan.
TEST_F(ScanReplayTest, ScansAndReplaysCutAtTheSameLines) {
  const char* const lines[][3] = {{"1", "08:00:00", "/a.htm"}, {"1", "08:20:59", "/b.htm"},  // 20 minutes.
                                  {"1", "08:30:00", "/b.htm"},  // A reload is no view, but the visitor is there.
                                  {"1", "08:50:59", "/c.htm"}, {"1", "09:11:00", "/d.htm"},  // 21.
                                  {"2", "11:00:00", "/x.htm"}};
  std::string all;
  for (const auto& [address, time, page] : lines) {
    all += ScanRig::Ncsa(std::string("10.0.0.") + address, time, page) + "\n";
  }
  Restarted(all);
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 2 + 1);
  EXPECT_EQ(rig.history.Count("end 1:10.0.0.1"), 1);

  ScanRig live;
  live.t.Corrected.QuietReplay = true;
  live.settings.InactivityMins = 20;
  live.AddSite();
  live.Ready();
  for (const auto& [address, time, page] : lines) live.Hit(std::string("10.0.0.") + address, time, page);
  EXPECT_EQ(live.t.Site(1).TodayVisitors, 2 + 1);
  EXPECT_EQ(live.history.Count("end 1:10.0.0.1"), 1);
}

struct TakeBackTest : ::testing::Test {
  ScanRig rig;
  SiteRec& site = rig.AddSite();
  TakeBackTest() {
    rig.t.Corrected.QuietReplay = true;
    rig.Ready();
  }
  // The clock alone ends all visits.
  void EndByClock() {
    rig.clock.Advance(12 * 60);
    rig.scan.Timer2Tick();
    ASSERT_EQ(rig.t.Visitors.Count(), 0);
    ASSERT_EQ(site.CurrentVisitors, 0);
  }
};

TEST_F(TakeBackTest, LateLinesGoOnWithTheVisitThatTheClockEnded) {
  rig.Hit("10.0.0.1", "11:59:00", "/a.htm");
  rig.Hit("10.0.0.2", "11:59:30", "/a.htm");
  EndByClock();
  rig.Hit("10.0.0.1", "12:05:00", "/b.htm");
  ASSERT_TRUE(rig.Visitor("10.0.0.1"));
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Pages, 2);
  EXPECT_EQ(rig.Visitor("10.0.0.1")->VisitNo, 1);
  EXPECT_EQ(rig.t.Visitors.At(rig.Visitor("10.0.0.1")->Number), rig.Visitor("10.0.0.1"));
  EXPECT_EQ(site.TodayVisitors, 2);
  EXPECT_EQ(site.CurrentVisitors, 1);
  EndByClock();
  EXPECT_EQ(rig.history.Count("end 1:10.0.0.1"), 2) << "its closing values are written anew";
}

TEST_F(TakeBackTest, ALineBeyondTheLimitBeginsAVisit) {
  rig.Hit("10.0.0.1", "11:59:00", "/a.htm");
  EndByClock();
  rig.Hit("10.0.0.1", "12:10:00", "/b.htm");
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Pages, 1);
  EXPECT_EQ(site.TodayVisitors, 2);
}

TEST_F(TakeBackTest, TheLineThatTheVisitEndedWithIsNoVisit) {
  rig.Hit("10.0.0.1", "11:59:00", "/a.htm");
  rig.Hit("10.0.0.2", "11:59:00", "/a.htm");
  EndByClock();
  rig.Hit("10.0.0.1", "11:59:00", "/a.htm");
  EXPECT_EQ(site.TodayVisitors, 2);
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Pages, 1);
}

TEST_F(TakeBackTest, NamesOfThoseTakenBackCountForGroups) {
  rig.settings.DNSMask[0] = "*.proxy.example";
  rig.names.names["10.0.0.1"] = rig.history.dns["10.0.0.2"] = "a.proxy.example";
  rig.Hit("10.0.0.1", "11:59:00", "/a.htm");
  EndByClock();
  rig.Hit("10.0.0.1", "12:00:00", "/b.htm");
  rig.Hit("10.0.0.2", "12:00:01", "/c.htm");
  EXPECT_EQ(rig.t.Visitors.Count(), 1);
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Pages, 3);
}

TEST_F(TakeBackTest, GroupsGoByTheLogsTime) {
  rig.settings.DNSMask[0] = "*.proxy.example";
  rig.names.names["10.0.0.1"] = rig.history.dns["10.0.0.2"] = "a.proxy.example";
  rig.names.names["10.0.0.2"] = rig.history.dns["10.0.0.3"] = "a.proxy.example";
  rig.Hit("10.0.0.1", "08:00:00", "/a.htm");
  rig.Hit("10.0.0.2", "08:06:00", "/b.htm");  // Beyond half the limit.
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
  rig.Hit("10.0.0.3", "08:14:00", "/c.htm");  // The first of the group is gone.
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
  rig.Hit("10.0.0.2", "08:14:30", "/d.htm");
  rig.Hit("10.0.0.4", "08:15:00", "/d.htm");
  EXPECT_EQ(site.TodayVisitors, 4);
}

TEST_F(TakeBackTest, ThoseWhoLeftLongAgoAreForgotten) {
  rig.Hit("10.0.0.1", "11:30:00", "/a.htm");
  EndByClock();
  rig.Hit("10.0.0.2", "11:51:00", "/a.htm");  // Twice the limit later.
  rig.scan.Timer2Tick();
  rig.Hit("10.0.0.1", "11:35:00", "/b.htm");
  EXPECT_EQ(site.TodayVisitors, 3);
}

TEST_F(TakeBackTest, VisitsEndWithTheDay) {
  rig.t.Corrected.CatchUpRollover = true;
  rig.clock.now.s += 12 * 3600 - 60;
  rig.Hit("10.0.0.1", "23:58:59", "/a.htm");
  site.Paused = true;
  rig.clock.Advance(60);
  rig.scan.Timer1Tick();
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
  EXPECT_EQ(site.CurrentVisitors, 0);
  EXPECT_EQ(rig.history.Count("end 1:10.0.0.1"), 1);
  EXPECT_EQ(rig.t.Today, DayOf(rig.clock.now));
  rig.Line("10.0.0.1 - - [06/Mar/2026:00:00:01 +0000] \"GET /b.htm HTTP/1.0\" 200 5 \"-\" \"B\"");
  EXPECT_EQ(site.TodayVisitors, 1) << "a visit of the new day";
}

// As before its disk was mounted.
TEST_F(ScanReplayTest, ALogThatIsMissingAtTheStartIsReplayedLater) {
  for (const bool corrected : {false, true}) {
    ScanRig day;
    day.t.Corrected.WaitForLog = true;
    day.t.Corrected.QuietReplay = corrected;
    SiteRec& site = day.AddSite();
    day.scan.Timer1Tick();
    ASSERT_EQ(site.ScanCount, 1);
    const std::string lines = ScanRig::NcsaLines(0, 5);
    day.files.Put("/logs/a.log", lines);
    site.LastLogFile = "/logs/a.log";
    site.LastReadPosDay = 1;
    site.LastReadPos = static_cast<int64_t>(lines.size()) + 1;
    site.LastReadDateTime = {day.clock.now.s - 60};
    for (int i = 0; i < 3; ++i) {
      day.clock.Advance(60);
      day.scan.Timer1Tick();
    }
    EXPECT_EQ(site.TodayVisitors, corrected ? 5 : 0);
    EXPECT_EQ(site.CurrentVisitors, 0) << "their visits are over";
    EXPECT_EQ(site.PeakToday, 0);
    EXPECT_EQ(day.history.Count("page"), 0);
  }
}

TEST_F(ScanReplayTest, AReadingThatBrokeOffIsNotBegunAnew) {
  std::string lines;
  for (int i = 0; i < 4'000; ++i) {
    lines +=
        ScanRig::Ncsa("10.0." + std::to_string(i / 200) + "." + std::to_string(i % 200), "11:59:00", "/p.htm") + "\n";
  }
  SiteRec& site = Restarted(lines);
  int reads = 0;
  rig.files.fails = [&](const std::string& call) { return StartsWith(call, "readat ") && ++reads == 2; };
  rig.Scan();
  EXPECT_FALSE(site.ReadOnce);
  EXPECT_GT(site.TodayVisitors, 1'000);
  EXPECT_LT(site.TodayVisitors, 4'000);
  rig.Scan();
  EXPECT_EQ(site.TodayVisitors, 4'000);
  EXPECT_EQ(site.PagesCounted, 4'000);
}

// What is written from now on is news, though nothing was read yet of the new file.
TEST_F(ScanReplayTest, ALogThatWasJustRotatedIsNotNew) {
  rig.t.Corrected.FollowRotation = true;
  SiteRec& site = rig.AddSite();
  site.Mask = "a.log";
  rig.files.Put("/logs/a.log", ScanRig::NcsaLines(0, 5));
  rig.Scan();
  ASSERT_TRUE(site.ReadFromStart);
  rig.files.Put("/logs/a.log.1", rig.files.Get("/logs/a.log"));
  std::swap(rig.files.entries["/logs/a.log.1"], rig.files.entries["/logs/a.log"]);
  rig.files.Put("/logs/a.log", "");
  site.ForceLookup = true;
  rig.Scan();
  ASSERT_EQ(site.LastReadPos, 0);
  site.ScanCount = 0;  // The next start.
  site.ReadFromStart = site.ReadOnce = false;
  rig.Scan();
  EXPECT_FALSE(site.ReadFromStart);
  EXPECT_FALSE(rig.t.FirstScan);
}

TEST_F(ScanReplayTest, HalfALineWaitsForItsEnd) {
  rig.AddSite();
  const std::string line = ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm");
  rig.files.Put("/logs/a.log", line.substr(0, 60));
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 0);
  rig.files.Put("/logs/a.log", line + "\n");
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).TodayVisitors, 1);
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Page, "a.htm");
}

}  // namespace
}  // namespace vantry
