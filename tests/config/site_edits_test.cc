#include "config/site_edits.h"

#include <gtest/gtest.h>

#include "config/site_file.h"

namespace vantry {
namespace {

constexpr WallTime kNow{1'000'000};

std::string Site(const std::string& name, const std::string& lines) {
  return "[" + name + "]\r\nType=2\r\nFolder=/logs/\r\nMask=a.log\r\nFrequency=10\r\n" + lines + "\r\n";
}

struct SiteEditsTest : ::testing::Test {
  Regional regional;
  LiveTables t;
  std::string before;
  void Begin(const std::string& bytes) {
    before = bytes;
    ASSERT_FALSE(ParseSites(bytes, regional, t));
  }
  std::optional<ReadProblem> Edit(const std::string& after) { return TakeOverSites(before, after, regional, kNow, t); }
  SiteRec& S(int16_t n) { return t.Site(n); }
};

TEST_F(SiteEditsTest, ChangedValuesWinAndTheReadingStateStays) {
  Begin(Site("A", "LastLogFile=/logs/a.log\r\nLastReadPos=100\r\nDomain=a.example\r\n"));
  S(1).LastReadPos = 500;
  S(1).Paused = true;  // By the program, and not in the file yet.
  ASSERT_FALSE(Edit(Site("A", "LastLogFile=/logs/b.log\r\nLastReadPos=7\r\nDomain=new.example\r\nExclude=10.*;\r\n")));
  EXPECT_EQ(S(1).Domain, "new.example");
  EXPECT_EQ(S(1).Exclude, "10.*;");
  EXPECT_EQ(S(1).LastReadPos, 500);
  EXPECT_EQ(S(1).LastLogFile, "/logs/a.log");
  EXPECT_TRUE(S(1).Paused) << "nobody edited that";
  EXPECT_FALSE(S(1).ForceLookup);
}

TEST_F(SiteEditsTest, AnotherFolderIsLookedIntoAndAPauseIsTaken) {
  Begin(Site("A", "Paused=True\r\n"));
  S(1).Sleeping = true;
  ASSERT_FALSE(Edit("[A]\r\nType=0\r\nFolder=/other/\r\nMask=a.log\r\nFrequency=10\r\nPaused=False\r\n\r\n"));
  EXPECT_TRUE(S(1).ForceLookup);
  EXPECT_FALSE(S(1).Paused);
  EXPECT_FALSE(S(1).Sleeping);
  EXPECT_EQ(S(1).Type, LogType::kW3C);
}

TEST_F(SiteEditsTest, SitesComeAndGoAndKeepTheirNumbers) {
  Begin(Site("A", "") + Site("B", "") + Site("C", ""));
  ASSERT_FALSE(Edit(Site("New", "LastReadPos=40\r\n") + Site("C", "") + Site("A", "Domain=a.example\r\n")));
  ASSERT_EQ(t.SiteCount(), 4);
  EXPECT_EQ(S(1).Domain, "a.example");
  EXPECT_TRUE(S(2).Deleted);
  EXPECT_TRUE(S(2).Paused);
  EXPECT_FALSE(S(2).WebAccess);
  EXPECT_FALSE(S(3).Deleted);
  EXPECT_EQ(S(4).Name, "New");
  EXPECT_EQ(S(4).LastReadPos, 40);
  EXPECT_TRUE(S(4).ForceLookup);
  EXPECT_LE(S(4).LastScanTime.s + S(4).Frequency, kNow.s) << "due at once";
  const std::string written = FormatSites(regional, t);
  EXPECT_EQ(written.find("[B]"), std::string::npos);
  EXPECT_NE(written.find("[New]"), std::string::npos);
  // A site of that name that comes back is a new one.
  before = written;
  ASSERT_FALSE(Edit(written + Site("B", "")));
  EXPECT_EQ(t.SiteCount(), 5);
  EXPECT_FALSE(S(5).Deleted);
}

TEST_F(SiteEditsTest, MistakesChangeNothing) {
  Begin(Site("A", ""));
  const auto problem = Edit(Site("A", "Domain=x\r\n") + Site("B", "Unix=Maybe\r\n"));
  ASSERT_TRUE(problem);
  EXPECT_EQ(problem->line, 13);
  EXPECT_EQ(t.SiteCount(), 1);
  EXPECT_EQ(S(1).Domain, "");
  EXPECT_TRUE(Edit("[A]\r\nDomain=cut")) << "its last line has no end";
  EXPECT_EQ(S(1).Domain, "");
}

TEST_F(SiteEditsTest, EditedAlertsReplaceTheirSitesAlone) {
  const std::string one = "Alert=One\r\nAlertNo=1\r\n", two = "Alert=Two\r\nAlertNo=2\r\n";
  Begin(Site("A", one + two) + Site("B", one));
  t.Alerts[0].AlertHits = 5;
  t.Alerts[1].AlertHits = 6;
  ASSERT_FALSE(Edit(Site("A", one + "AlertDNS1=*.example\r\n" + "Alert=Three\r\nAlertNo=3\r\n") + Site("B", one) +
                    Site("C", two)));
  ASSERT_EQ(t.Alerts.size(), 4U);
  EXPECT_EQ(t.Alerts[0].DNS, std::vector<std::string>{"*.example"});
  EXPECT_EQ(t.Alerts[0].AlertHits, 5);
  EXPECT_EQ(t.Alerts[1].Name, "Three");
  EXPECT_EQ(t.Alerts[1].AlertHits, 0);
  EXPECT_EQ(t.Alerts[2].Site, 2);
  EXPECT_EQ(t.Alerts[3].Site, 3);
  EXPECT_EQ(S(1).AlertDefinitions, 2);
  EXPECT_EQ(S(3).AlertDefinitions, 1);
}

}  // namespace
}  // namespace vantry
