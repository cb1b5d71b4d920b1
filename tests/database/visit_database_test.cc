// Opening, closing and upkeep of the history, and what a history that fails costs.
#include <gtest/gtest.h>

#include "support/database_rig.h"

namespace vantry {
namespace {

using Row = std::map<std::string, std::string>;

constexpr const char* kTables[] = {"Visits", "Visitor", "Referrers", "Exceptions", "Pages", "Downloads", "DaySum"};

size_t Count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

struct DatabaseTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }
};

TEST_F(DatabaseTest, TablesAreMadeAtTheFirstUse) {
  EXPECT_FALSE(rig.disk.Has("/data/Visits.DBF"));
  Db().FlushDatabase();
  EXPECT_FALSE(rig.disk.Has("/data/Visits.DBF"));
  rig.Visit("10.0.0.1");
  for (const char* name : kTables) EXPECT_TRUE(rig.Read(name).readable) << name;
  EXPECT_FALSE(rig.disk.Has("/data/IPCC.DBF"));
  EXPECT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(rig.program_log, "");
}

TEST_F(DatabaseTest, ASecondStartFindsAllTablesAndCreatesNothing) {
  rig.Visit("10.0.0.1");
  rig.Restart();
  std::map<std::string, std::string> before;
  for (const char* name : kTables) before[name] = rig.disk.Get(rig.Path(name));
  rig.disk.calls.clear();
  ASSERT_TRUE(Db().DatabaseReady());
  for (const char* name : kTables) EXPECT_EQ(rig.disk.Get(rig.Path(name)), before[name]) << name;
  for (const std::string& call : rig.disk.calls)
    EXPECT_FALSE(Contains(call, ".DBF") && call.starts_with("write")) << call;
  EXPECT_EQ(rig.program_log, "");
}

TEST_F(DatabaseTest, TheVersionIsWrittenOnceAllTablesAreFine) {
  rig.disk.Put("/data/DaySum.DBF", std::string(500, 'x'));
  EXPECT_FALSE(Db().DatabaseReady());
  EXPECT_EQ(Db().DatabaseVersion, 0);
  EXPECT_EQ(ReadRegistryValue(rig.registry, "Settings", "DatabaseVersion", "none"), "none");
  rig.disk.entries.erase("/data/DaySum.DBF");
  rig.clock.Advance(1);
  EXPECT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(Db().DatabaseVersion, 1);
  EXPECT_EQ(ReadRegistryValue(rig.registry, "Settings", "DatabaseVersion", "none"), "1");
}

TEST_F(DatabaseTest, AVersionThatIsThereStays) {
  WriteRegistryValue(rig.registry, "Settings", "DatabaseVersion", "3");
  rig.Restart();
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(Db().DatabaseVersion, 3);
  EXPECT_EQ(ReadRegistryValue(rig.registry, "Settings", "DatabaseVersion", "none"), "3");
}

TEST_F(DatabaseTest, ATableOfOtherFieldsTurnsHistoryOffAndIsNamedWithTheDifference) {
  RowLayout layout;
  ASSERT_TRUE(ParseFields({"RecordNo|C|9", "IP|C|16"}, layout).ok());
  const std::string foreign = BuildHeader(layout, *MakeDay(2026, 1, 1), 0) + dbf::kEndMark;
  rig.disk.Put("/data/Pages.DBF", foreign);
  VisitorRec v = rig.Visit("10.0.0.1");
  EXPECT_EQ(v.VisitCount, 1);  // As the scan set it.
  EXPECT_FALSE(Db().IsOpen());
  EXPECT_TRUE(Contains(rig.program_log,
                       "/data/Pages.DBF is not the table that Vantry writes: field 2 is IP|C|16 "
                       "instead of IP|C|15"))
      << rig.program_log;
  EXPECT_EQ(rig.disk.Get("/data/Pages.DBF"), foreign);
}

// Visitors come by the thousand while the history is off: neither the log nor the disk may notice each of them.
TEST_F(DatabaseTest, AClosedDatabaseIsToldOnceAMinuteAndTriedOnceASecond) {
  rig.disk.missing_folders = {"/data/"};
  for (int i = 0; i < 1000; ++i) {
    VisitorRec v = rig.Visit("10.0.0.1");
    Db().AddPageToDatabase(v);
    Db().AddDownload(v);
    Db().UpdateHackCount(v);
  }
  EXPECT_EQ(rig.t.Site(1).TodayDownloads, 1000);
  EXPECT_EQ(Count(rig.program_log, "/data/Vantry.stamp: No such file or directory"), 1u) << rig.program_log;
  EXPECT_EQ(Count(rig.program_log, "F.AddPageToDatabase"), 1u);
  EXPECT_EQ(Count(rig.program_log, "F.AddDownload"), 1u);
  EXPECT_EQ(Count(rig.program_log, "F.UpdateHackCount"), 1u);
  EXPECT_LT(rig.disk.calls.size(), 20u);
  rig.clock.Advance(59);
  Db().AddPageToDatabase(rig.Visitor("10.0.0.1"));
  EXPECT_EQ(Count(rig.program_log, "F.AddPageToDatabase"), 1u);
  rig.clock.Advance(1);
  Db().AddPageToDatabase(rig.Visitor("10.0.0.1"));
  EXPECT_EQ(Count(rig.program_log, "F.AddPageToDatabase"), 2u);
  rig.disk.missing_folders.clear();
  rig.Visit("10.0.0.1");
  EXPECT_TRUE(Db().IsOpen());
}

TEST_F(DatabaseTest, CallsThatRelyOnAnOpenDatabaseReportThatItIsClosed) {
  rig.disk.missing_folders = {"/data/"};
  VisitorRec v = rig.Visitor("10.0.0.1");
  std::string name = "unchanged";
  Db().UpdateVisitInDatabase(v);
  Db().ChangeFriendlyName("10.0.0.1", "One", "x");
  Db().GetFriendlyName("10.0.0.1", name);
  Db().UpdateDNS("10.0.0.1", "x");
  EXPECT_EQ(Db().LookupDNS("10.0.0.1", &v), "");
  EXPECT_EQ(name, "unchanged");
  EXPECT_EQ(Count(rig.program_log, "F."), 0u) << rig.program_log;
  EXPECT_EQ(Db().LookupCountryCode("10.0.0.1"), "");
  Db().UpdateDaySummaries();
  EXPECT_EQ(Count(rig.program_log, "f.UpdateDaySummary"), 1u);
  EXPECT_EQ(Count(rig.program_log, "F.LookupCountryCode"), 1u);
}

TEST_F(DatabaseTest, ATableHeldByAnotherProgramIsRefused) {
  std::unique_ptr<DataFile> held;
  rig.disk.Put("/data/Visits.DBF", "");
  ASSERT_TRUE(rig.disk.Open("/data/Visits.DBF", OpenFor::kWriting, held).ok());
  EXPECT_FALSE(Db().DatabaseReady());
  EXPECT_TRUE(Contains(rig.program_log, "/data/Visits.DBF: is held by another program")) << rig.program_log;
  held.reset();
  rig.clock.Advance(1);
  EXPECT_TRUE(Db().DatabaseReady());
}

TEST_F(DatabaseTest, AFolderThatVanishesIsTakenUpWhereItComesBack) {
  rig.Visit("10.0.0.1");
  Db().FlushDatabase();
  auto taken = std::move(rig.disk.entries);
  rig.disk.entries.clear();
  rig.Visit("10.0.0.2");
  Db().FlushDatabase();
  EXPECT_FALSE(Db().IsOpen());
  EXPECT_TRUE(Contains(rig.program_log, "Visits.DBF: No such file or directory") ||
              Contains(rig.program_log, "Referrers.DBF: No such file or directory") ||
              Contains(rig.program_log, "Visitor.DBF: No such file or directory"))
      << rig.program_log;
  rig.disk.entries = std::move(taken);
  rig.Visit("10.0.0.3");
  EXPECT_EQ(rig.Flushed("Visits").rows.size(), 3u);
}

TEST_F(DatabaseTest, FlushesFiveTablesInTheirOrderAndNotTheOtherTwo) {
  VisitorRec v = rig.Visit("10.0.0.1");
  v.Referrer = "http://a.example";
  Db().UpdateVisitor(v, false);
  Db().AddPageToDatabase(v);
  Db().AddDownload(v);
  Db().UpdateDaySummaries();
  Db().VAEXP.ClearRecord();
  ASSERT_EQ(Db().VAEXP.Insert(), 0);
  rig.disk.calls.clear();
  Db().FlushDatabase();
  std::vector<std::string> synced;
  for (const std::string& call : rig.disk.calls) {
    if (call.starts_with("sync") && Contains(call, ".DBF")) synced.push_back(call.substr(5));
  }
  EXPECT_EQ(synced, (std::vector<std::string>{"/data/Referrers.DBF", "/data/Visitor.DBF", "/data/Visits.DBF",
                                              "/data/Exceptions.DBF", "/data/Pages.DBF"}));
  EXPECT_TRUE(rig.index.durable);
  EXPECT_EQ(rig.Read("Downloads").rows.size(), 0u);
  EXPECT_EQ(rig.Read("DaySum").rows.size(), 0u);
  Db().FlushAll();
  EXPECT_EQ(rig.Read("Downloads").rows.size(), 1u);
  EXPECT_EQ(rig.Read("DaySum").rows.size(), 2u);
}

TEST_F(DatabaseTest, InsideAScanRowsAreWrittenWithoutWaitingForTheDisk) {
  rig.Visit("10.0.0.1");
  Db().FlushAll();
  VisitorRec v = rig.Visit("10.0.0.2");
  Db().AddDownload(v);
  rig.t.ScanInProgress = true;
  rig.disk.calls.clear();
  Db().FlushAll();
  EXPECT_EQ(rig.Read("Visits").rows.size(), 2u);
  EXPECT_EQ(rig.Read("Downloads").rows.size(), 1u);
  for (const std::string& call : rig.disk.calls) EXPECT_FALSE(call.starts_with("sync")) << call;
  rig.t.ScanInProgress = false;
  Db().FlushAll();
  EXPECT_EQ(std::count(rig.disk.calls.begin(), rig.disk.calls.end(), "sync /data/Downloads.DBF"), 1);
}

TEST_F(DatabaseTest, NothingIsWrittenWhenNothingChanged) {
  rig.Visit("10.0.0.1");
  Db().FlushAll();
  rig.disk.calls.clear();
  Db().FlushDatabase();
  Db().FlushAll();
  EXPECT_EQ(rig.disk.calls, std::vector<std::string>{});
}

TEST_F(DatabaseTest, OneSummaryPerSiteAndDay) {
  ASSERT_TRUE(Db().DatabaseReady());
  SiteRec& site = rig.t.Site(1);
  site.TodayVisitors = 12;
  site.TodayAlerts = 3;
  site.TodaySpiders = 4;
  site.TodayExceptions = 5;
  site.TodayDownloads = 6;
  rig.t.Site(2).Deleted = true;
  Db().UpdateDaySummaries();
  site.TodayVisitors = 123456;
  rig.Restart();
  ASSERT_TRUE(Db().DatabaseReady());
  site.TodayVisitors = 7;
  rig.Restart();
  ASSERT_TRUE(Db().DatabaseReady());
  const PlainTable table = rig.Flushed("DaySum");
  ASSERT_EQ(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[0], (Row{{"RecordNo", "000000001"},
                                {"Site", "One"},
                                {"Dated", "20260305"},
                                {"Visitors", "    7"},
                                {"Alerts", "    3"},
                                {"Spiders", "    4"},
                                {"Exceptions", "    5"},
                                {"Downloads", "    6"}}));
  EXPECT_EQ(table.rows[1].at("Site"), "Two");
  EXPECT_EQ(table.rows[1].at("Visitors"), "    0");
  rig.t.Today.n += 1;
  Db().UpdateDaySummaries();
  EXPECT_EQ(rig.Flushed("DaySum").rows.size(), 4u);
}

TEST_F(DatabaseTest, ARestartWritesNoSumDownWhenCorrected) {
  rig.t.Corrected.KeepHigherDaySum = true;
  ASSERT_TRUE(Db().DatabaseReady());
  SiteRec& site = rig.t.Site(1);
  const auto count = [&](int32_t visitors, int32_t downloads) {
    site.TodayVisitors = visitors;
    site.TodayDownloads = downloads;
    site.TodayAlerts = site.TodaySpiders = site.TodayExceptions = visitors + 1;
    rig.Restart();
    EXPECT_TRUE(Db().DatabaseReady());
    const auto row = rig.Flushed("DaySum").rows.at(0);
    EXPECT_EQ(row.at("Alerts"), row.at("Spiders"));
    EXPECT_EQ(row.at("Alerts"), row.at("Exceptions"));
    return row.at("Visitors") + row.at("Alerts") + row.at("Downloads");
  };
  EXPECT_EQ(count(12, 3), "   12   13    3");
  EXPECT_EQ(count(7, 5), "   12   13    5") << "each sum by itself";
  EXPECT_EQ(count(13, 0), "   13   14    5");
  // A count too wide for its field is higher than any that fits.
  EXPECT_EQ(count(123456, 0), "**********    5");
  EXPECT_EQ(count(1, 6), "**********    6");
  // The next day begins with its own.
  rig.t.Today.n += 1;
  site.TodayVisitors = 1;
  Db().UpdateDaySummaries();
  EXPECT_EQ(rig.Flushed("DaySum").rows.at(2).at("Visitors"), "    1");
}

TEST_F(DatabaseTest, WithoutSitesThereIsNoSummary) {
  ASSERT_TRUE(Db().DatabaseReady());
  rig.t.Sites.clear();
  Db().UpdateDaySummaries();
  EXPECT_EQ(rig.Flushed("DaySum").rows.size(), 0u);
  EXPECT_EQ(rig.program_log, "");
}

TEST_F(DatabaseTest, ACountTooWideForItsFieldShowsAsAsterisks) {
  ASSERT_TRUE(Db().DatabaseReady());
  rig.t.Site(1).TodayVisitors = 123456;
  Db().UpdateDaySummaries();
  EXPECT_EQ(rig.Flushed("DaySum").rows[0].at("Visitors"), "*****");
}

TEST_F(DatabaseTest, ClosingWritesTheSummaryAndEverythingThatWaits) {
  rig.t.Site(1).TodayVisitors = 2;
  rig.Visit("10.0.0.1");
  rig.t.Closing = true;
  Db().CloseDatabase();
  EXPECT_EQ(rig.Read("Visits").rows.size(), 1u);
  EXPECT_EQ(rig.Read("DaySum").rows.at(0).at("Visitors"), "    2");
  EXPECT_FALSE(Db().IsOpen());
  EXPECT_FALSE(Db().DatabaseReady());
  Db().CloseDatabase();
  EXPECT_EQ(rig.program_log, "");
}

TEST_F(DatabaseTest, ADatabaseThatWasNeverOpenedClosesWithoutATrace) {
  Db().CloseDatabase();
  EXPECT_TRUE(rig.disk.entries.empty());
  EXPECT_EQ(rig.program_log, "");
}

// After a restart on the same day the log is read again, without its pages.
TEST_F(DatabaseTest, TheSameDayTwiceGivesTheTablesOfOnce) {
  const auto day = [&](bool replay) {
    for (int hour = 8; hour < 20; ++hour) {
      for (int n = 1; n <= 5; ++n) {
        VisitorRec v = rig.Visitor("10.0.0." + std::to_string(n), PadNumber(hour, 2) + ":00:0" + std::to_string(n));
        v.Referrer = "http://a" + std::to_string(n % 2) + ".example/";
        Db().UpdateVisitor(v, false);
        Db().AddVisitToDatabase(v, "a.html");
        if (!replay) Db().AddPageToDatabase(v);
        v.LastHitTime.s += 90 + hour;
        Db().UpdateVisitInDatabase(v);
      }
    }
    Db().FlushAll();
  };
  day(false);
  std::map<std::string, std::vector<Row>> once;
  for (const char* name : {"Visits", "Visitor", "Referrers", "Pages"}) once[name] = rig.Read(name).rows;
  EXPECT_EQ(once["Visits"].size(), 60u);
  EXPECT_EQ(once["Pages"].size(), 60u);
  rig.Restart();
  rig.t.Site(1).ReplayUntilPos = 9'999;
  day(true);
  for (const auto& [name, rows] : once) EXPECT_EQ(rig.Read(name).rows, rows) << name;
}

}  // namespace
}  // namespace vantry
