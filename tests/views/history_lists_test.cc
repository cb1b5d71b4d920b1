// The lists of the history, on the tables of a running program and on its files alike.
#include "views/history_lists.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/database_rig.h"
#include "views/list_export.h"
#include "views/program_tables.h"
#include "views/table_files.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Lines = std::vector<std::string>;

// Reads to the end in steps of a few rows.
Status ReadAll(HistoryList& list, size_t step = 2) {
  Status status;
  for (int n = 0; !list.Ended() && n < 100'000; ++n) {
    if (status = list.Step(step); !status.ok()) break;
  }
  return status;
}

Lines RowsOf(const HistoryList& list, const std::vector<size_t>& columns) {
  Lines lines;
  for (size_t row = 0; row < list.Rows(); ++row) {
    std::string& line = lines.emplace_back();
    for (const size_t c : columns) line += (c == columns[0] ? "" : "|") + list.Shown(row, c, nullptr);
  }
  return lines;
}

enum class From { kProgram, kFiles };

struct HistoryListsTest : ::testing::TestWithParam<From> {
  DatabaseRig rig;
  ProgramTables program{*rig.database};
  TableFiles files{rig.disk, rig.folder};

  HistoryListsTest() { Db().DatabaseReady(); }
  VisitDatabase& Db() { return *rig.database; }
  HistoryTables& Tables() {
    if (GetParam() == From::kProgram) return program;
    rig.database->FlushAll();
    return files;
  }
  Lines Rows(HistoryList& list, const std::vector<size_t>& columns) {
    const Status status = ReadAll(list);
    EXPECT_TRUE(status.ok()) << status.text;
    return RowsOf(list, columns);
  }
  Lines Visits(const VisitSubject& subject, const DayRange& days = {}) {
    const auto list = PreviousVisits(Tables(), subject, days);
    return Rows(*list, {previous_visits::kNo, previous_visits::kSite, previous_visits::kDate, previous_visits::kTime});
  }
  Lines Referrers(const std::string& site, const DayRange& days = {}) {
    const auto list = TopReferrers(Tables(), site, days);
    return Rows(*list, {top_referrers::kNo, top_referrers::kVisits, top_referrers::kName});
  }
  Lines Details(const VisitName& name) {
    const auto list = VisitDetails(Tables(), name, [](std::string_view code) { return "Land " + std::string(code); });
    return Rows(*list, {0, 1});
  }
  void Refer(const std::string& name, int times, int16_t site = 1) {
    for (int i = 0; i < times; ++i) {
      VisitorRec v = rig.Visitor("10.9.0.1", "00:00:00", site);
      v.StartTime.s += ++seconds_;
      v.Referrer = name;
      Db().UpdateVisitor(v, false);
    }
  }
  void Download(const std::string& ip, const std::string& file, int16_t site = 1, int day = 5) {
    VisitorRec v = rig.Visitor(ip, "11:00:00", site, day);
    v.Page = file;
    Db().AddDownload(v);
  }
  int seconds_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Sources, HistoryListsTest, ::testing::Values(From::kProgram, From::kFiles),
                         [](const auto& test) { return test.param == From::kProgram ? "Program" : "Files"; });

TEST_P(HistoryListsTest, VisitsOfAnAddressAreThoseOfTheSiteOrOfAllSites) {
  rig.Visit("10.0.0.1", "11:00:00", 1, 4);
  rig.Visit("10.0.0.1", "09:00:00", 1, 5);
  rig.Visit("10.0.0.1", "10:00:00", 2, 5);
  rig.Visit("10.0.0.11", "10:00:00", 1, 5);
  const Lines on_one{"00001|One|2026-03-04|11:00:00", "00002|One|2026-03-05|09:00:00"};
  EXPECT_EQ(Visits({"10.0.0.1", "One"}), on_one);
  EXPECT_THAT(Visits({"10.0.0.1", ""}), ElementsAre(on_one[0], on_one[1], "00001|Two|2026-03-05|10:00:00"));
  EXPECT_THAT(Visits({"10.0.0.1", "One"}, {MakeDay(2026, 3, 5), {}}), ElementsAre(on_one[1]));
  EXPECT_THAT(Visits({"10.0.0.1", "One"}, {{}, MakeDay(2026, 3, 4)}), ElementsAre(on_one[0]));
  EXPECT_THAT(Visits({"", "Two"}), SizeIs(1));
  EXPECT_THAT(Visits({"", ""}), SizeIs(4));
}

TEST_P(HistoryListsTest, AnAddressThatWasNeverThereHasATitleAndNoRows) {
  rig.Visit("10.0.0.1");
  const auto list = PreviousVisits(Tables(), {"10.0.0.2", "One"});
  EXPECT_THAT(Rows(*list, {0}), IsEmpty());
  EXPECT_EQ(list->Title(), "Previous Visits For 10.0.0.2 On Site One");
  EXPECT_EQ(PreviousVisits(Tables(), {"10.0.0.2", ""})->Title(), "Previous Visits For 10.0.0.2 [All Sites]");
  EXPECT_EQ(PreviousDownloads(Tables(), {"10.0.0.2", "One"})->Title(), "Downloaded Files For 10.0.0.2 On Site One");
  EXPECT_EQ(PreviousDownloads(Tables(), {"10.0.0.2", ""})->Title(), "Downloaded Files For 10.0.0.2 [All Sites]");
}

TEST_P(HistoryListsTest, AVisitShowsAllItsFields) {
  VisitorRec v = rig.Visitor("10.0.0.1");
  v.IsSpider = true;
  v.SpiderName = SharedText("Robot");
  v.Referrer = "http://from.example/page";
  Db().UpdateVisitor(v, true);
  Db().AddVisitToDatabase(v, "first.htm");
  v.Page = "last.htm";
  v.Pages = 7;
  v.HackRaised = true;
  v.LastHitTime = DatabaseRig::At("11:01:01");
  Db().UpdateVisitInDatabase(v);
  const auto list = PreviousVisits(Tables(), {"10.0.0.1", "One"});
  EXPECT_THAT(Rows(*list, {4, 5, 6, 7, 8, 9, 10, 11}),
              ElementsAre("first.htm|last.htm|1:01|7|IE|Y|Yes|http://from.example"));
  std::vector<std::string> headings;
  for (const HistoryColumn& column : list->Columns()) headings.push_back(column.heading);
  EXPECT_THAT(headings, ElementsAre("No", "Site", "Date", "Time", "First Page", "Last Page", "Mins On Site",
                                    "Pages Seen", "Browser", "Spider", "Hack Exception", "Referrer"));
  EXPECT_EQ(list->Columns()[0].align, Align::kRight);
  EXPECT_EQ(list->Columns()[1].width, 25);
  EXPECT_EQ(list->Columns()[2].align, Align::kCentre);
  const Regional regional;
  EXPECT_EQ(list->Shown(0, previous_visits::kDate, &regional), "3/5/2026");
}

TEST_P(HistoryListsTest, AVisitIsToldWithItsPages) {
  VisitorRec v = rig.Visitor("10.0.0.1", "11:00:00");
  v.DNS = "host.example";
  v.CountryCode = SharedText("DE");
  v.Referrer = "http://from.example/";
  Db().UpdateVisitor(v, true);
  Db().AddVisitToDatabase(v, "a.htm");
  for (const int status : {200, 400, 401, 404}) {
    v.Page = "p" + std::to_string(status);
    v.Status = static_cast<int16_t>(status);
    Db().AddPageToDatabase(v);
    ++v.Pages;
  }
  const VisitName name{{"10.0.0.1", "One"}, 1, MakeDay(2026, 3, 5)};
  const Lines whole{"Site|One",
                    "IP Address|10.0.0.1",
                    "DNS|host.example",
                    "Country|DE",
                    "Location|Land DE",
                    "Visit Number|00001",
                    "Browser|IE",
                    "Referrer|http://from.example",
                    "11:00:00|Session Started",
                    "11:00:00|p200",
                    "11:00:00|p400",
                    "11:00:00|p401 Error",
                    "11:00:00|p404 Error"};
  EXPECT_EQ(Details(name), whole);
  EXPECT_EQ(Details({name.visitor, 1, {}}), whole) << "whichever day it was";
  EXPECT_THAT(Details({name.visitor, 2, name.day}),
              ElementsAre("Site|One", "IP Address|10.0.0.1", "DNS|host.example", "Country|DE", "Location|Land DE",
                          "Visit Number|00002", "|Visit Record Not Found!"));
  EXPECT_THAT(Details({{"10.0.0.1", "Two"}, 1, name.day}),
              ElementsAre("Site|Two", "IP Address|10.0.0.1", "|Visitor Record Not Found!", "Visit Number|00001",
                          "|Visit Record Not Found!"));
}

TEST_P(HistoryListsTest, ASpiderIsToldByItsName) {
  VisitorRec v = rig.Visitor("10.0.0.1");
  v.IsSpider = true;
  v.SpiderName = SharedText("Robot");
  Db().UpdateVisitor(v, true);
  Db().AddVisitToDatabase(v, "a.htm");
  EXPECT_THAT(Details({{"10.0.0.1", "One"}, 1, {}}), ::testing::Contains("Spider|Robot"));
}

TEST_P(HistoryListsTest, ReferrersComeBusiestFirstWithoutThoseExcluded) {
  Refer("http://few.example", 1);
  Refer("http://many.example", 12);
  Refer("http://some.example", 3);
  Refer("http://out.example", 5);
  Refer("http://other.example", 4, 2);
  Table& t = Db().VAREF;
  ASSERT_EQ(t.FindEqual(t.Key({"http://out.example", "One"})), Table::kOk);
  t.SetNumber(referrers::kVisits, -1);
  ASSERT_EQ(t.Update(), Table::kOk);
  const Lines one{"1|12|http://many.example", "2|3|http://some.example", "3|1|http://few.example"};
  EXPECT_EQ(Referrers("One"), one);
  EXPECT_EQ(Referrers("One "), one) << "as tables know the name";
  EXPECT_THAT(Referrers("Three"), IsEmpty());
  EXPECT_THAT(Referrers(""), ElementsAre("1|12|http://many.example", "2|4|http://other.example",
                                         "3|3|http://some.example", "4|1|http://few.example"));
  EXPECT_THAT(Referrers("One", {MakeDay(2026, 3, 6), {}}), IsEmpty());
  EXPECT_THAT(Referrers("One", {MakeDay(2026, 3, 5), MakeDay(2026, 3, 5)}), SizeIs(3));
  EXPECT_EQ(TopReferrers(Tables(), "One")->Title(), "Top Referrers: One");
}

TEST_P(HistoryListsTest, DownloadsOfAnAddress) {
  Download("10.0.0.1", "/files/tool.zip");
  Download("10.0.0.1", "/files/more.zip", 2);
  Download("10.0.0.2", "/files/other.zip");
  const std::vector<size_t> columns{previous_downloads::kVisitNo, previous_downloads::kSite, previous_downloads::kDate,
                                    previous_downloads::kTime, previous_downloads::kDownload};
  EXPECT_THAT(Rows(*PreviousDownloads(Tables(), {"10.0.0.1", "One"}), columns),
              ElementsAre("00001|One|2026-03-05|11:00:00|tool.zip"));
  EXPECT_THAT(Rows(*PreviousDownloads(Tables(), {"10.0.0.1", ""}), columns),
              ElementsAre("00001|One|2026-03-05|11:00:00|tool.zip", "00001|Two|2026-03-05|11:00:00|more.zip"));
}

TEST_P(HistoryListsTest, DownloadsAreCountedByTheirFiles) {
  for (int i = 0; i < 3; ++i) Download("10.0.0." + std::to_string(i), "b.zip", 1, 3 + i);
  Download("10.0.0.1", "c.zip");
  Download("10.0.0.1", "a.zip");
  Download("10.0.0.1", "a.zip", 2);
  const std::vector<size_t> columns{top_downloads::kNo, top_downloads::kDownloads, top_downloads::kFirstVisit,
                                    top_downloads::kLastVisit, top_downloads::kFilename};
  const auto all = TopDownloads(Tables(), "One", {}, "");
  EXPECT_EQ(all->Title(), "Top Downloads: One [All Dates]");
  EXPECT_THAT(Rows(*all, columns), ElementsAre("1|3|2026-03-03|2026-03-05|b.zip", "2|1|2026-03-05|2026-03-05|a.zip",
                                               "3|1|2026-03-05|2026-03-05|c.zip"));
  const auto day = TopDownloads(Tables(), "One", {MakeDay(2026, 3, 4), MakeDay(2026, 3, 4)}, "3/4/2026");
  EXPECT_EQ(day->Title(), "Top Downloads: One On: 3/4/2026");
  EXPECT_THAT(Rows(*day, columns), ElementsAre("1|1|2026-03-04|2026-03-04|b.zip"));
  EXPECT_THAT(Rows(*TopDownloads(Tables(), "", {}, ""), {1, 4}), ElementsAre("3|b.zip", "2|a.zip", "1|c.zip"));
}

TEST_P(HistoryListsTest, DaysAreAddedUpOverTheSites) {
  Db().DatabaseReady();
  for (const int day : {3, 4}) {
    rig.t.Today = *MakeDay(2026, 3, day);
    rig.t.Site(1).TodayVisitors = 10 * day;
    rig.t.Site(2).TodayVisitors = day;
    rig.t.Site(2).TodayDownloads = 1;
    Db().UpdateDaySummaries();
  }
  const std::vector<size_t> columns{days::kDate, days::kVisitors, days::kDownloads};
  EXPECT_THAT(Rows(*Days(Tables(), "", {}), columns), ElementsAre("2026-03-03|33|1", "2026-03-04|44|1"));
  EXPECT_THAT(Rows(*Days(Tables(), "Two", {}), columns), ElementsAre("2026-03-03|3|1", "2026-03-04|4|1"));
  EXPECT_THAT(Rows(*Days(Tables(), "Two", {MakeDay(2026, 3, 4), {}}), columns), ElementsAre("2026-03-04|4|1"));
  // What the counters say of today stands in place of what an earlier run left.
  const DaySoFar today{*MakeDay(2026, 3, 4), {7, 0, 0, 0, 2}};
  EXPECT_THAT(Rows(*Days(Tables(), "Two", {}, today), columns), ElementsAre("2026-03-03|3|1", "2026-03-04|7|2"));
}

TEST_P(HistoryListsTest, ATableThatIsDamagedInTheMiddleGivesTheRowsThatCanBeRead) {
  for (int i = 0; i < 5; ++i) Download("10.0.0.1", "f" + std::to_string(i) + ".zip");
  Db().FlushAll();
  std::string bytes = rig.disk.Get(rig.Path("Downloads"));
  TableHeader header;
  ASSERT_TRUE(ParseHeader(bytes, header).ok());
  bytes.replace(header.header_bytes + 2 * header.layout.row_bytes, header.layout.row_bytes, header.layout.row_bytes,
                '\xEE');
  rig.disk.Put(rig.Path("Downloads"), bytes);
  Db().FlushAll();
  EXPECT_THAT(Rows(*TopDownloads(Tables(), "One", {}, ""), {top_downloads::kFilename}),
              ElementsAre("f0.zip", "f1.zip", "f3.zip", "f4.zip"));
  EXPECT_THAT(Rows(*PreviousDownloads(Tables(), {"10.0.0.1", "One"}), {previous_downloads::kDownload}),
              ElementsAre("f0.zip", "f1.zip", "f3.zip", "f4.zip"));
}

TEST_P(HistoryListsTest, ManyRowsComeInSmallStepsInTheSameOrder) {
  for (int i = 0; i < 300; ++i) {
    rig.Visit("10.0.0.1", FormatTime(60 * i), 1, 5);
  }
  for (const size_t step : {1u, 7u, 1000u}) {
    const auto list = PreviousVisits(Tables(), {"10.0.0.1", "One"});
    ASSERT_TRUE(ReadAll(*list, step).ok());
    ASSERT_EQ(list->Rows(), 300u);
    for (size_t row = 0; row < 300; ++row) {
      ASSERT_EQ(list->Number(row, previous_visits::kNo), static_cast<int64_t>(row + 1)) << step;
    }
  }
}

TEST_P(HistoryListsTest, ManyNamesAreSortedAndListedInSmallStepsToo) {
  for (int i = 0; i < 300; ++i) Download("10.0.0.1", PadNumber(i * 7 % 100, 3) + ".zip");
  const auto list = TopDownloads(Tables(), "One", {}, "");
  int steps = 0;
  for (size_t before = 0; !list->Ended(); before = list->Rows(), ++steps) {
    ASSERT_LT(steps, 10'000);
    ASSERT_TRUE(list->Step(7).ok());
    ASSERT_LE(list->Rows(), before + 7);
  }
  // Rows of the table, runs of names, three merges of them, the list.
  EXPECT_GT(steps, (300 + 2 * 100 + 100) / 7);
  ASSERT_EQ(list->Rows(), 100u);
  for (size_t row = 0; row < 100; ++row) {
    ASSERT_EQ(list->Text(row, top_downloads::kFilename), PadNumber(static_cast<int64_t>(row), 3) + ".zip");
    ASSERT_EQ(list->Number(row, top_downloads::kDownloads), 3);
  }
}

struct ProgramListsTest : ::testing::Test {
  DatabaseRig rig;
  ProgramTables tables{*rig.database};
};

TEST_F(ProgramListsTest, TheEngineMayWriteBetweenTwoSteps) {
  for (int i = 0; i < 20; ++i) rig.Visit("10.0.0.1", FormatTime(600 * i), 1, 5);
  const auto list = PreviousVisits(tables, {"10.0.0.1", "One"});
  ASSERT_TRUE(list->Step(3).ok());
  ASSERT_EQ(list->Rows(), 3u);
  for (int i = 0; i < 20; ++i) {
    rig.Visit("10.0.0.2", FormatTime(600 * i + 1), 1, 5);
    ASSERT_TRUE(list->Step(1).ok());
  }
  rig.Visit("10.0.0.1", "23:00:00", 1, 5);
  ASSERT_TRUE(ReadAll(*list).ok());
  std::set<int64_t> numbers;
  for (size_t row = 0; row < list->Rows(); ++row) numbers.insert(list->Number(row, previous_visits::kNo));
  EXPECT_EQ(numbers.size(), list->Rows()) << "none twice";
  EXPECT_GE(list->Rows(), 20u);
}

// A search of the engine would go by another key than its first.
TEST_F(ProgramListsTest, AStepLeavesTheFirstKeySelected) {
  rig.Visit("10.0.0.1");
  VisitorRec v = rig.Visitor("10.0.0.1", "11:30:00");
  v.Referrer = "http://from.example";
  rig.database->UpdateVisitor(v, false);
  const auto list = TopReferrers(tables, "One");
  ASSERT_TRUE(list->Step(1).ok());
  Table& t = rig.database->VAREF;
  EXPECT_EQ(t.FindEqual(t.Key({"http://from.example", "One"})), Table::kOk);
}

TEST_F(ProgramListsTest, AHistoryThatCannotBeOpenedIsToldAndKeepsTheRows) {
  for (int i = 0; i < 5; ++i) rig.Visit("10.0.0.1", FormatTime(600 * i), 1, 5);
  const auto list = PreviousVisits(tables, {"10.0.0.1", "One"});
  ASSERT_TRUE(list->Step(2).ok());
  rig.database->CloseDatabase();
  rig.disk.missing_folders.insert("/data/");
  const Status status = list->Step(2);
  EXPECT_FALSE(status.ok());
  EXPECT_EQ(status.text, "The history is not open.");
  EXPECT_TRUE(list->Ended());
  EXPECT_EQ(list->Rows(), 2u);
}

struct FileListsTest : ::testing::Test {
  DatabaseRig rig;
  TableFiles tables{rig.disk, rig.folder};
};

TEST_F(FileListsTest, NothingIsWrittenOpenedForWritingOrLocked) {
  rig.Visit("10.0.0.1");
  rig.database->FlushAll();
  rig.disk.calls.clear();
  rig.disk.read_only = true;
  for (auto& [path, entry] : rig.disk.entries) EXPECT_TRUE(!path.ends_with("Visits.DBF") || entry->held);
  const auto list = PreviousVisits(tables, {"10.0.0.1", ""});
  ASSERT_TRUE(ReadAll(*list).ok());
  EXPECT_EQ(list->Rows(), 1u);
  EXPECT_THAT(rig.disk.calls, ::testing::Each(::testing::StartsWith("open ")));
}

TEST_F(FileListsTest, AMissingTableHasNoRows) {
  const auto list = TopReferrers(tables, "One");
  EXPECT_TRUE(ReadAll(*list).ok());
  EXPECT_EQ(list->Rows(), 0u);
}

TEST_F(FileListsTest, ATableOfOthersIsRefused) {
  RowLayout layout;
  ASSERT_TRUE(ParseFields({"IP|C|15", "Site|C|20"}, layout).ok());
  rig.disk.Put(rig.Path("Visits"), BuildHeader(layout, Day{46'000}, 0) + dbf::kEndMark);
  const auto list = PreviousVisits(tables, {"10.0.0.1", ""});
  const Status status = ReadAll(*list);
  EXPECT_EQ(status.fail, Fail::kBadData);
  EXPECT_THAT(status.text, HasSubstr("is not the table that Vantry writes"));
  rig.disk.Put(rig.Path("Visits"), "no table at all");
  EXPECT_EQ(ReadAll(*PreviousVisits(tables, {"10.0.0.1", ""})).fail, Fail::kBadData);
}

TEST_F(FileListsTest, WideTablesAreReadAsTheyAre) {
  rig.t.Corrected.WideKeys = true;
  const std::string address = "2001:db8:85a3:8d3:1319:8a2e:370:7344";
  rig.Visit(address);
  rig.Visit("2001:db8:85a3:8d3:1319:8a2e:370:7345");
  rig.database->FlushAll();
  const auto list = PreviousVisits(tables, {address, "One"});
  ASSERT_TRUE(ReadAll(*list).ok());
  EXPECT_EQ(list->Rows(), 1u);
}

TEST_F(FileListsTest, RowsThatComeMeanwhileDoNoHarm) {
  for (int i = 0; i < 50; ++i) rig.Visit("10.0.0.1", FormatTime(600 * i), 1, 5);
  rig.database->FlushAll();
  const auto list = PreviousVisits(tables, {"10.0.0.1", ""});
  ASSERT_TRUE(list->Step(10).ok());
  for (int i = 50; i < 100; ++i) rig.Visit("10.0.0.1", FormatTime(600 * i), 1, 5);
  rig.database->FlushAll();
  ASSERT_TRUE(ReadAll(*list).ok());
  EXPECT_EQ(list->Rows(), 50u);
}

TEST_F(FileListsTest, ATableThatIsCutMeanwhileIsToldWithoutRows) {
  for (int i = 0; i < 3000; ++i) rig.Visit("10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250));
  rig.database->FlushAll();
  const auto list = PreviousVisits(tables, {"", ""});
  ASSERT_TRUE(list->Step(1000).ok());
  rig.disk.Put(rig.Path("Visits"), rig.disk.Get(rig.Path("Visits")).substr(0, 2000));
  const Status status = ReadAll(*list, 1000);
  EXPECT_EQ(status.fail, Fail::kIo);
  EXPECT_THAT(status.text, HasSubstr("was cut"));
  EXPECT_TRUE(list->Ended());
}

TEST(ParseSubject, SplitsAddressAndSite) {
  const struct {
    std::string text, ip, site;
  } cases[] = {
      {"10.0.0.1", "10.0.0.1", "Before"},
      {" 10.0.0.1 ", "10.0.0.1", "Before"},
      {"10.0.0.1:One", "10.0.0.1", "One"},
      {"10.0.0.1: A: B", "10.0.0.1", "A: B"},
      {"10.0.0.1:", "10.0.0.1", ""},
      {"2001:db8::1", "2001:db8::1", "Before"},
      {"2001:db8::1:My site", "2001:db8::1", "My site"},
      {"[2001:db8::1]:cafe", "2001:db8::1", "cafe"},
      {"[2001:db8::1]", "2001:db8::1", "Before"},
      {"[2001:db8::1", "2001:db8::1", "Before"},
      {"", "", "Before"},
      {":", "", ""},
  };
  for (const auto& c : cases) {
    const VisitSubject subject = ParseSubject(c.text, "Before");
    EXPECT_EQ(subject.ip, c.ip) << c.text;
    EXPECT_EQ(subject.site, c.site) << c.text;
  }
}

TEST(ListExport, TextsAreMadeSafe) {
  EXPECT_EQ(JsonText("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
  EXPECT_EQ(JsonText("caf\xE9"), "\"caf\xC3\xA9\"");
}

TEST(ListExport, RowsForProgramsAndForPeople) {
  DatabaseRig rig;
  VisitorRec v = rig.Visitor("10.0.0.1");
  v.Page = "=cmd,x";
  rig.database->UpdateVisitor(v, true);
  rig.database->AddVisitToDatabase(v, v.Page);
  ProgramTables tables(*rig.database);
  const auto list = PreviousVisits(tables, {"10.0.0.1", "One"});
  ASSERT_TRUE(ReadAll(*list).ok());
  EXPECT_EQ(CsvHead(*list), "visit,site,date,time,first_page,last_page,minutes,pages,browser,spider,hack,referrer\r\n");
  EXPECT_EQ(CsvRow(*list, 0), "00001,One,2026-03-05,11:00:00,\"'=cmd,x\",\"'=cmd,x\",,1,IE,,,\r\n");
  EXPECT_EQ(JsonRow(*list, 0),
            "{\"visit\": 1, \"site\": \"One\", \"date\": \"2026-03-05\", \"time\": \"11:00:00\", \"first_page\": "
            "\"=cmd,x\", \"last_page\": \"=cmd,x\", \"minutes\": \"\", \"pages\": 1, \"browser\": \"IE\", \"spider\": "
            "false, \"hack\": false, \"referrer\": \"\"}");
  const Regional regional;
  EXPECT_THAT(CsvHead(*list, &regional), ::testing::StartsWith("No,Site,Date,Time,First Page,"));
  EXPECT_THAT(CsvRow(*list, 0, &regional), HasSubstr(",3/5/2026,"));
}

}  // namespace
}  // namespace vantry
