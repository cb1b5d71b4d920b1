#include "database/widen_tables.h"

#include <random>

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/database_rig.h"
#include "support/other_readers.h"

namespace vantry {
namespace {

constexpr char kFirst[] = "2001:db8:85a3:8d3:1319:8a2e:370:7344", kSecond[] = "2001:db8:85a3:8d3:1319:8a2e:370:7345";
const std::string kLongName = "A shop with a long name, in London", kLikeName = "A shop with a long name, in Leeds";

Status Widen(DatabaseRig& rig, std::vector<std::string>* lines = nullptr) {
  return WidenTables({rig.disk, rig.folder, *MakeDay(2026, 3, 5), [lines](const std::string& line) {
                        if (lines) lines->push_back(line);
                      }});
}

// Some rows in every table, one of them changed and one deleted by hand.
void Fill(DatabaseRig& rig, int visits = 5) {
  for (int n = 0; n < visits; ++n) {
    VisitorRec v = rig.Visit("10.0.0." + std::to_string(n), "11:00:00", static_cast<int16_t>(n % 2 + 1));
    v.Referrer = "http://a.example/" + std::to_string(n);
    rig.database->AddPageToDatabase(v);
    rig.database->AddDownload(v);
    rig.database->UpdateVisitInDatabase(v);
    rig.database->AddExceptionToDatabase(
        {.site_text = "One", .when = v.StartTime, .number = 404, .address = v.IP, .visit_number = 1, .value = "x"});
  }
  rig.Restart();
}

std::map<std::string, PlainTable> ReadAll(DatabaseRig& rig) {
  std::map<std::string, PlainTable> all;
  for (const TableSchema* schema : HistorySchemas()) all.emplace(schema->name, rig.Read(schema->name));
  return all;
}

size_t WidthOf(const std::string& bytes, const std::string& field) {
  TableHeader header;
  if (!ParseHeader(bytes, header).ok()) return 0;
  const auto place = header.layout.Find(field);
  return place ? header.layout.fields[*place].width : 0;
}

TEST(WideKeys, NewTablesAreWideAndTellWhatClassicOnesMix) {
  DatabaseRig rig;
  rig.t.Sites[0].Name = kLongName;
  rig.t.Sites[1].Name = kLikeName;
  EXPECT_EQ(SharedHistories(rig.t).size(), 1u);
  rig.Visit(kFirst);
  rig.Visit(kSecond, "11:00:01");
  rig.Visit(kFirst, "11:00:02", 2);
  EXPECT_EQ(rig.Flushed("Visitor").rows.size(), 1u);
  EXPECT_EQ(WidthOf(rig.disk.Get(rig.Path("Visitor")), "IP"), 15u);

  DatabaseRig wide;
  wide.t.Corrected.WideKeys = true;
  wide.t.Sites[0].Name = kLongName;
  wide.t.Sites[1].Name = kLikeName;
  EXPECT_TRUE(SharedHistories(wide.t).empty());
  wide.Visit(kFirst);
  VisitorRec v = wide.Visit(kSecond, "11:00:01");
  wide.Visit(kFirst, "11:00:02", 2);
  wide.database->UpdateDNS(kSecond, "host.example");
  const PlainTable visitors = wide.Flushed("Visitor");
  ASSERT_EQ(visitors.rows.size(), 3u);
  EXPECT_EQ(visitors.rows[0].at("IP"), kFirst);
  EXPECT_EQ(visitors.rows[0].at("Site"), kLongName);
  EXPECT_EQ(visitors.rows[0].at("DNS"), kFirst);
  EXPECT_EQ(visitors.rows[1].at("DNS"), "host.example");
  EXPECT_EQ(wide.database->LookupDNS(kSecond, nullptr), "host.example");
  EXPECT_EQ(wide.database->LookupDNS(kFirst, nullptr), "");
  for (const TableSchema* schema : HistorySchemas()) {
    const std::string bytes = wide.disk.Get(wide.Path(schema->name));
    EXPECT_EQ(WidthOf(bytes, "Site"), 60u) << schema->name;
    EXPECT_TRUE(WidthOf(bytes, "IP") == 45u || WidthOf(bytes, "IP") == 0u) << schema->name;
  }
  EXPECT_EQ(WidthOf(wide.disk.Get(wide.Path("Visits")), "Browser"), 30u);
  EXPECT_FALSE(Contains(wide.program_log, "widen-tables"));
}

TEST(WideKeys, TablesThatAreThereAreTakenAsTheyAre) {
  DatabaseRig rig;
  rig.Visit("10.0.0.1");
  rig.Restart();
  rig.t.Corrected.WideKeys = true;
  rig.Visit("10.0.0.1", "11:30:00");
  EXPECT_EQ(rig.Flushed("Visitor").rows.at(0).at("Visits"), "    2");
  EXPECT_TRUE(Contains(rig.program_log,
                       "The tables in /data/ still keep 15 characters of an address and 20 of a site's "
                       "name. Stop Vantry and convert them with `vantryctl widen-tables`."));
  rig.Restart();
  ASSERT_TRUE(Widen(rig).ok());
  rig.t.Corrected.WideKeys = false;
  rig.Visit("10.0.0.1", "11:40:00");
  EXPECT_EQ(rig.Flushed("Visitor").rows.at(0).at("Visits"), "    3");
  EXPECT_EQ(WidthOf(rig.disk.Get(rig.Path("Visitor")), "IP"), 45u);
}

TEST(WideKeys, TheMostFrequentReferrersOfALongNameAreFound) {
  DatabaseRig rig;
  rig.t.Corrected.WideKeys = true;
  rig.t.Sites[0].Name = kLongName;
  VisitorRec v = rig.Visitor("10.0.0.1");
  v.Referrer = "http://a.example/";
  rig.database->UpdateVisitor(v, false);
  std::vector<StoredReferrer> rows;
  ASSERT_TRUE(rig.database->ReadReferrers(kLongName, 10, rows).ok());
  EXPECT_EQ(rows.size(), 1u);
}

TEST(WidenTables, EveryRowSurvivesWithItsNumber) {
  DatabaseRig rig;
  Fill(rig);
  // Somebody has deleted a row by hand.
  std::string pages = rig.disk.Get(rig.Path("Pages"));
  TableHeader header;
  ASSERT_TRUE(ParseHeader(pages, header).ok());
  pages[header.header_bytes] = dbf::kDeleted;
  rig.disk.Put(rig.Path("Pages"), pages);
  rig.Restart();
  const auto before = ReadAll(rig);
  std::vector<std::string> lines;
  ASSERT_TRUE(Widen(rig, &lines).ok());
  EXPECT_EQ(lines,
            (std::vector<std::string>{"Visits: 5 rows", "Visitor: 5 rows", "Referrers: 0 rows", "Exceptions: 5 rows",
                                      "Pages: 5 rows", "Downloads: 5 rows", "DaySum: 2 rows"}));
  for (const auto& [name, table] : ReadAll(rig)) {
    EXPECT_TRUE(table.readable && table.end_mark) << name;
    EXPECT_EQ(table.rows, before.at(name).rows) << name;
    EXPECT_EQ(table.deleted, before.at(name).deleted) << name;
    EXPECT_EQ(OtherReaders(rig.disk.Get(rig.Path(name))).trouble, "") << name;
    EXPECT_FALSE(rig.disk.Has(rig.Path(name) + ".wide")) << name;
  }
  // The next start finds every row by its key, and goes on counting.
  VisitorRec v = rig.Visit("10.0.0.1", "11:30:00", 2);
  EXPECT_EQ(v.VisitCount, 2);
  EXPECT_EQ(rig.Flushed("Visitor").rows.size(), 5u);
  EXPECT_EQ(rig.Flushed("Visits").rows.back().at("RecordNo"), "000000006");
  rig.Restart();
  lines.clear();
  ASSERT_TRUE(Widen(rig, &lines).ok());
  EXPECT_TRUE(lines.empty());
}

TEST(WidenTables, EndedAtAnyStepItLosesNothing) {
  DatabaseRig whole;
  Fill(whole);
  const auto before = ReadAll(whole);
  whole.disk.calls.clear();
  ASSERT_TRUE(Widen(whole).ok());
  const size_t steps = whole.disk.calls.size();
  ASSERT_GT(steps, 40u);
  std::mt19937 random(7);
  for (size_t step = 0; step < steps; ++step) {
    for (const bool power : {false, true}) {
      DatabaseRig rig;
      Fill(rig);
      rig.disk.calls.clear();
      rig.disk.breaks = [&, step](const std::string&) -> int64_t { return rig.disk.calls.size() > step ? 3 : -2; };
      EXPECT_FALSE(Widen(rig).ok()) << step;
      rig.disk.breaks = [](const std::string&) { return int64_t{-2}; };
      if (power) rig.disk.LosePower(random);
      for (const auto& [name, table] : ReadAll(rig)) EXPECT_EQ(table.rows, before.at(name).rows) << name << step;
      // The program takes them as they are, and a second run ends the work.
      if (step % 3 == 0) {
        EXPECT_EQ(rig.Visit("10.0.0.1", "11:30:00", 2).VisitCount, 2) << step;
        rig.Restart();
      }
      EXPECT_TRUE(Widen(rig).ok()) << step;
      for (const TableSchema* schema : HistorySchemas()) {
        EXPECT_EQ(WidthOf(rig.disk.Get(rig.Path(schema->name)), "Site"), 60u) << schema->name << step;
        EXPECT_FALSE(rig.disk.Has(rig.Path(schema->name) + ".wide")) << schema->name << step;
      }
    }
  }
}

TEST(WidenTables, RefusesWhatOnlyTheProgramCanPutRight) {
  DatabaseRig rig;
  rig.Visit("10.0.0.1");
  rig.database->FlushAll();
  rig.Visit("10.0.0.2");
  rig.FlushInScan();
  rig.Crash();
  const std::string before = rig.disk.Get(rig.Path("Visitor"));
  const Status status = Widen(rig);
  EXPECT_EQ(status.fail, Fail::kRefused);
  EXPECT_EQ(status.text, "Vantry did not stop cleanly in /data/. Start it, stop it, and then widen its tables.");
  EXPECT_EQ(rig.disk.Get(rig.Path("Visitor")), before);
}

TEST(WidenTables, LeavesForeignTablesAlone) {
  DatabaseRig rig;
  Fill(rig);
  RowLayout layout;
  ASSERT_TRUE(ParseFields({"Other|C|5"}, layout).ok());
  rig.disk.Put(rig.Path("Pages"), BuildHeader(layout, *MakeDay(2026, 3, 5), 0) + dbf::kEndMark);
  const std::string visits = rig.disk.Get(rig.Path("Visits"));
  EXPECT_TRUE(Contains(Widen(rig).text, "/data/Pages.DBF is not the table that Vantry writes"));
  EXPECT_EQ(rig.disk.Get(rig.Path("Visits")), visits);
  EXPECT_FALSE(rig.disk.Has(rig.Path("Visits") + ".wide"));
  rig.disk.Put(rig.Path("Pages"), "no table");
  EXPECT_FALSE(Widen(rig).ok());
  EXPECT_EQ(rig.disk.Get(rig.Path("Pages")), "no table");
}

}  // namespace
}  // namespace vantry
