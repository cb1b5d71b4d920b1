// What a table is opened from: the rows are the truth, the index follows them. Numbers are never given twice.
#include <gtest/gtest.h>

#include "support/table_rig.h"

namespace vantry {
namespace {

struct OpenTest : ::testing::Test {
  TableRig rig;
  OpenTest() { EXPECT_EQ(rig.Start(), Table::kOk); }
  Table& T() { return rig.T(); }

  void AddThree() {
    for (const char* name : {"n1", "n2", "n3"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  }
  void Stop() {
    rig.Close();
    rig.End();
    rig.told.clear();
  }
  bool BuiltAnew() const { return rig.Told("The index of T is built anew from"); }
  RowLayout Layout() const {
    RowLayout layout;
    EXPECT_TRUE(ParseFields(rig.fields, layout).ok());
    return layout;
  }
  // A row as another program writes it.
  std::string ForeignRow(const std::string& record, const std::string& name) const {
    const RowLayout layout = Layout();
    std::string row(layout.row_bytes, ' ');
    PutText(layout.fields[TableRig::kRecordNo], record, row.data());
    PutText(layout.fields[TableRig::kName], name, row.data());
    PutText(layout.fields[TableRig::kCode], "c" + name, row.data());
    return row;
  }
  // The table as another program writes it.
  std::string Foreign(const std::vector<std::string>& rows, uint32_t count) const {
    std::string bytes = BuildHeader(Layout(), *MakeDay(2020, 1, 1), count);
    for (const std::string& row : rows) bytes += row;
    return bytes + dbf::kEndMark;
  }
  std::vector<std::string> RowBytes() const { return OtherReaders(rig.Bytes()).by_count; }
};

TEST_F(OpenTest, ACleanStopAndStartBuildsNothing) {
  AddThree();
  for (int i = 0; i < 3; ++i) {
    Stop();
    rig.disk.calls.clear();
    ASSERT_EQ(rig.Start(), Table::kOk);
    EXPECT_EQ(rig.told, std::vector<std::string>{});
    for (const std::string& call : rig.disk.calls) EXPECT_TRUE(call.starts_with("open ")) << call;
    EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
  }
}

TEST_F(OpenTest, AStopWithAnEmptyTableTellsNothing) {
  Stop();
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_EQ(rig.told, std::vector<std::string>{});
}

TEST_F(OpenTest, AFlushIsAsGoodAsAStop) {
  AddThree();
  ASSERT_EQ(T().Flush(), Table::kOk);
  rig.Crash();
  rig.told.clear();
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_FALSE(BuiltAnew());
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
}

// The rows are durable at once, the index when nothing of it waits any more.
TEST_F(OpenTest, AnIndexThatTakesManyFlushesIsVouchedForByTheLast) {
  constexpr int kRows = 12'000;  // Of four keys each.
  for (const bool to_its_end : {false, true}) {
    for (int i = 0; i < kRows; ++i) ASSERT_EQ(rig.Add(PadNumber(i + to_its_end * kRows, 5)), Table::kOk);
    int flushes = 0;
    do {
      ASSERT_EQ(T().Flush(), Table::kOk);
      EXPECT_FALSE(T().Changed());
    } while (++flushes < 10 && to_its_end && rig.connection->Index().Changed());
    EXPECT_EQ(flushes, to_its_end ? 2 : 1);
    rig.Crash();
    rig.told.clear();
    ASSERT_EQ(rig.Start(), Table::kOk);
    EXPECT_EQ(BuiltAnew(), !to_its_end);
    EXPECT_EQ(T().RowCount(), static_cast<uint32_t>(kRows + to_its_end * kRows));
    EXPECT_EQ(rig.Find(PadNumber(kRows - 1, 5)), Table::kOk);
  }
}

TEST_F(OpenTest, AnIndexThatIsGoneOrAnotherIsBuiltAnew) {
  AddThree();
  const auto spoil = [&](const std::string& what) {
    if (what == "index gone") rig.disk.entries.erase("/Vantry.idx");
    if (what == "index of another") rig.disk.Put("/Vantry.idx", "something else");
    if (what == "index of another file") {
      rig.disk.entries.erase("/Vantry.idx");
      rig.disk.Put("/Vantry.idx", "index 0");
    }
    if (what == "stamp gone") rig.disk.entries.erase("/Vantry.stamp");
    if (what == "stamp empty") rig.disk.Put("/Vantry.stamp", "");
    if (what == "stamp cut") rig.disk.Put("/Vantry.stamp", rig.disk.Get("/Vantry.stamp").substr(0, 100));
    if (what == "stamp of another version") rig.disk.Put("/Vantry.stamp", "vantry-stamp 9 closed\nindex\n");
    if (what == "table touched") rig.disk.Put("/T.DBF", rig.Bytes());
    if (what == "key changed") rig.keys[1] = "group|Group + DTOS(Dated) + Code";
    if (what == "key turned round") rig.keys[2] = "hits|STR(Hits,5)||N|";
    if (what == "index damaged") rig.index.damaged = true;
  };
  for (const char* what :
       {"index gone", "index of another", "index of another file", "stamp gone", "stamp empty", "stamp cut",
        "stamp of another version", "table touched", "key changed", "key turned round", "index damaged"}) {
    Stop();
    const std::string before = rig.Bytes();
    spoil(what);
    ASSERT_EQ(rig.Start(), Table::kOk) << what << ": " << T().Problem();
    EXPECT_TRUE(rig.Told("The index of T is built anew from 3 rows.")) << what;
    EXPECT_EQ(rig.Bytes(), before) << what;
    EXPECT_EQ(rig.Names(), "n1 n2 n3 ") << what;
    EXPECT_EQ(rig.Names(TableRig::kByGroup), "n1 n2 n3 ") << what;
    Stop();
    ASSERT_EQ(rig.Start(), Table::kOk) << what;
    EXPECT_FALSE(BuiltAnew()) << what << ", the second time";
  }
}

TEST_F(OpenTest, AnIndexOfOtherKeysIsNotMistaken) {
  for (const auto& [name, hits] : {std::pair{"n1", 5}, {"n2", 7}, {"n3", 6}}) ASSERT_EQ(rig.Add(name, "g", hits), 0);
  EXPECT_EQ(rig.Names(TableRig::kByHits), "n2 n3 n1 ");
  Stop();
  rig.keys[2] = "hits|STR(Hits,5)||N|";
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_EQ(rig.Names(TableRig::kByHits), "n1 n3 n2 ");
}

TEST_F(OpenTest, DamageThatShowsLaterIsMendedOnTheWay) {
  AddThree();
  ASSERT_EQ(T().Flush(), Table::kOk);
  rig.told.clear();
  rig.index.damaged = true;
  ASSERT_EQ(rig.Find("n2"), Table::kOk) << T().Problem();
  EXPECT_TRUE(rig.Told("The index /Vantry.idx is damaged and is built anew."));
  EXPECT_TRUE(BuiltAnew());
  EXPECT_EQ(T().Text(TableRig::kName), "n2");
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
  Stop();
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_FALSE(BuiltAnew());
}

TEST_F(OpenTest, AnIndexThatLeadsToOtherRowsIsMendedOnTheWay) {
  AddThree();
  ASSERT_EQ(T().Flush(), Table::kOk);
  for (auto& [key, row] : rig.index.stored["/Vantry.idx"]["T.name"]) row = row % 3 + 1;
  ASSERT_EQ(rig.Find("n2"), Table::kOk) << T().Problem();
  EXPECT_EQ(T().Text(TableRig::kName), "n2");
  for (auto& [key, row] : rig.index.stored["/Vantry.idx"]["T.name"]) row = 99;
  ASSERT_EQ(T().FindNearest(""), Table::kOk) << T().Problem();
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
}

// While the index can't be rebuilt, operations fail, and nothing is lost.
TEST_F(OpenTest, AnIndexThatCantBeMadeAnewIsTriedAgainByTheNextFlush) {
  AddThree();
  ASSERT_EQ(T().Flush(), Table::kOk);
  for (const char* broken : {"open", "tree", "empty", "commit"}) {
    rig.index.damaged = true;
    rig.index.fails = [&](const std::string& call) { return call == broken; };
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(rig.Find("n2"), Table::kFailed) << broken;
      EXPECT_EQ(T().Step(1), Table::kFailed) << broken;
      EXPECT_EQ(rig.Add("n2"), Table::kFailed) << broken << ", nobody can tell whether it is there";
      EXPECT_EQ(T().Update(), Table::kFailed) << broken << ", nor whether this may be called so";
    }
    EXPECT_EQ(T().Flush(), Table::kFailed) << broken;
    rig.index.fails = nullptr;
    ASSERT_EQ(T().Flush(), Table::kOk) << broken << ": " << T().Problem();
    ASSERT_EQ(rig.Find("n2"), Table::kOk) << broken;
    EXPECT_EQ(rig.Names(), "n1 n2 n3 ") << broken;
  }
}

TEST_F(OpenTest, AnIndexThatCouldNotBeMadeAnewIsTriedAgainByTheNextOpening) {
  AddThree();
  ASSERT_EQ(T().Flush(), Table::kOk);
  rig.index.damaged = true;
  rig.index.fails = [&](const std::string& call) { return call == "open"; };
  EXPECT_EQ(rig.Find("n2"), Table::kFailed);
  T().CloseTable();
  EXPECT_EQ(rig.Open(), Table::kFailed);
  rig.index.fails = nullptr;
  ASSERT_EQ(rig.Open(), Table::kOk) << T().Problem();
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
}

TEST_F(OpenTest, AStopWhileTheIndexCantBeMadeAnewVouchesForNothing) {
  AddThree();
  ASSERT_EQ(T().Flush(), Table::kOk);
  rig.index.damaged = true;
  rig.index.fails = [&](const std::string& call) { return call == "tree"; };
  EXPECT_EQ(rig.Find("n2"), Table::kFailed);
  Stop();
  rig.index.fails = nullptr;
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_TRUE(BuiltAnew());
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
}

// So many keys that some were committed on the way, which is not for good. The table was not written meanwhile.
TEST_F(OpenTest, AnIndexThatALossOfPowerLeftIsNotTrusted) {
  for (unsigned seed = 0; seed < 4; ++seed) {
    const std::string group = "g" + std::to_string(seed);
    for (const char* name : {"n1", "n2", "n3"}) ASSERT_EQ(rig.Add(group + name, group), Table::kOk);
    ASSERT_EQ(T().Flush(), Table::kOk);
    rig.connection->Index().SetBatch(100);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(rig.Add(PadNumber(i, 5)), Table::kOk);
    EXPECT_FALSE(rig.index.durable);
    std::mt19937 random(seed);
    rig.LosePower(random);
    ASSERT_EQ(rig.Start(), Table::kOk);
    EXPECT_TRUE(BuiltAnew());
    EXPECT_EQ(T().RowCount(), 3 * (seed + 1));
    for (const char* name : {"n1", "n2", "n3"}) EXPECT_EQ(rig.Find(group + name), Table::kOk);
    EXPECT_EQ(rig.Find("00000"), Table::kNotFound);
    rig.told.clear();
  }
}

TEST_F(OpenTest, AnIndexFileThatVanishesOrIsReplacedIsNotVouchedFor) {
  for (const bool replaced : {false, true}) {
    ASSERT_EQ(rig.Add(replaced ? "n2" : "n1"), Table::kOk);
    rig.disk.entries.erase("/Vantry.idx");
    if (replaced) rig.disk.Put("/Vantry.idx", "index of a backup");
    EXPECT_EQ(T().Flush(), Table::kFailed);
    EXPECT_TRUE(Contains(T().Problem(), "/Vantry.idx")) << T().Problem();
    EXPECT_EQ(rig.Rows().size(), replaced ? 2u : 1u) << "the rows are written all the same";
    Stop();
    ASSERT_EQ(rig.Start(), Table::kOk);
    EXPECT_TRUE(BuiltAnew());
    EXPECT_EQ(rig.Names(), replaced ? "n1 n2 " : "n1 ");
  }
}

// Another program worked on the table while Vantry was stopped.
TEST_F(OpenTest, ATableThatAnotherProgramChangedIsIndexedAnew) {
  AddThree();
  Stop();
  std::vector<std::string> rows = RowBytes();
  struct Case {
    const char* what;
    std::vector<std::string> rows;
    uint32_t count;
    const char* names;
    const char* number;  // Of the next record.
  };
  const std::string edited = ForeignRow("000000002", "e2"), added = ForeignRow("000000040", "a4");
  const std::string deleted = "*" + rows[2].substr(1);
  for (const Case& c : {
           Case{"edited", {rows[0], edited, rows[2]}, 3, "e2 n1 n3 ", "000000004"},
           Case{"appended", {rows[0], rows[1], rows[2], added}, 4, "a4 n1 n2 n3 ", "000000041"},
           Case{"appended without the count", {rows[0], rows[1], rows[2], added}, 3, "a4 n1 n2 n3 ", "000000041"},
           Case{"deleted", {rows[0], rows[1], deleted}, 3, "n1 n2 ", "000000004"},
           Case{"packed", {rows[0], rows[1]}, 2, "n1 n2 ", "000000004"},
           Case{"packed to nothing", {}, 0, "", "000000004"},
           Case{"cut without the count", {rows[0]}, 3, "n1 ", "000000004"},
           Case{"appended without a number", {rows[0], ForeignRow("", "a4")}, 2, "a4 n1 ", "000000004"},
           Case{"appended with a number that is none", {rows[0], ForeignRow("x9", "a4")}, 2, "a4 n1 ", "000000004"},
       }) {
    TableRig other;
    other.disk.entries = {};
    for (const auto& [path, entry] : rig.disk.entries) {
      other.disk.entries[path] = std::make_shared<MemoryDataFiles::Content>(*entry);
    }
    other.index.stored = rig.index.stored;
    other.disk.Put("/T.DBF", Foreign(c.rows, c.count));
    ASSERT_EQ(other.Start(), Table::kOk) << c.what;
    EXPECT_EQ(other.Told("is built anew from"), !c.rows.empty()) << c.what;
    EXPECT_EQ(other.Names(), c.names) << c.what;
    ASSERT_EQ(other.Add("zz"), Table::kOk) << c.what;
    EXPECT_EQ(other.T().Text(TableRig::kRecordNo), c.number) << c.what;
  }
}

TEST_F(OpenTest, RowsBehindTheEndMarkAreNone) {
  AddThree();
  Stop();
  const std::string before = rig.Bytes();
  rig.disk.Put("/T.DBF", before + ForeignRow("000000009", "x9"));
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
  EXPECT_EQ(rig.Bytes().size(), before.size());
  EXPECT_EQ(OtherReaders(rig.Bytes()).trouble, "");
}

// Only rows that were not durable when the machine stopped are doubted for their NULs.
TEST_F(OpenTest, NulsThatAnotherProgramWroteDoNoHarm) {
  std::string row = ForeignRow("000000007", "x");
  std::replace(row.begin() + 1, row.end(), ' ', '\0');
  for (const char* state : {"new", "known", "not counted"}) {
    Stop();
    rig.disk.Put("/T.DBF", Foreign({row}, std::string_view(state) == "not counted" ? 0 : 1));
    if (std::string_view(state) == "new") rig.disk.entries.erase("/Vantry.stamp");
    ASSERT_EQ(rig.Start(), Table::kOk);
    for (int crash = 0; crash < 3; ++crash) {
      EXPECT_EQ(rig.Names(), std::string("x\0\0\0\0\0 ", 7)) << state << ", crash " << crash;
      rig.Crash();
      ASSERT_EQ(rig.Start(), Table::kOk);
    }
    EXPECT_FALSE(rig.Told("were cut")) << state;
  }
}

TEST_F(OpenTest, NumbersAreNeverGivenTwice) {
  const auto expect_next = [&](const char* number, const std::string& name) {
    ASSERT_EQ(rig.Add(name), Table::kOk);
    EXPECT_EQ(T().Text(TableRig::kRecordNo), number);
  };
  AddThree();
  ASSERT_EQ(T().Delete(), Table::kOk);
  ASSERT_EQ(rig.Restart(), Table::kOk);
  expect_next("000000004", "n4");
  ASSERT_EQ(T().Delete(), Table::kOk);
  ASSERT_EQ(T().Flush(), Table::kOk);
  rig.Crash();
  ASSERT_EQ(rig.Start(), Table::kOk);
  expect_next("000000005", "n5");
  Stop();
  rig.disk.Put("/T.DBF", Foreign({}, 0));  // All of it deleted and packed.
  ASSERT_EQ(rig.Start(), Table::kOk);
  expect_next("000000006", "n6");
  ASSERT_EQ(T().Flush(), Table::kOk);
  rig.Crash();
  rig.disk.Put("/T.DBF", Foreign({}, 0));
  rig.disk.entries.erase("/Vantry.idx");
  ASSERT_EQ(rig.Start(), Table::kOk);
  expect_next("000000007", "n7");
  Stop();
  rig.disk.entries.erase("/Vantry.stamp");  // The rows tell what they can.
  ASSERT_EQ(rig.Start(), Table::kOk);
  expect_next("000000008", "n8");
}

TEST_F(OpenTest, TheLastNumberEndsTheTable) {
  Stop();
  rig.disk.Put("/T.DBF", Foreign({ForeignRow("999999998", "n1")}, 1));
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_TRUE(rig.Told("T is almost full: it stops at 999999999 records."));
  EXPECT_EQ(rig.Add("n2"), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kRecordNo), "999999999");
  EXPECT_EQ(rig.Add("n3"), Table::kNoRoom);
  ASSERT_EQ(T().Flush(), Table::kOk);
  EXPECT_FALSE(rig.Told("takes rows again"));
  ASSERT_EQ(rig.Restart(), Table::kOk);
  EXPECT_EQ(rig.Add("n3"), Table::kNoRoom);
  EXPECT_EQ(rig.Names(), "n1 n2 ");
  Stop();
  rig.disk.entries.erase("/Vantry.stamp");
  rig.disk.Put("/T.DBF", Foreign({ForeignRow("989999998", "n1")}, 1));
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_FALSE(rig.Told("almost full"));
  EXPECT_EQ(rig.Add("n2"), Table::kOk);
  EXPECT_TRUE(rig.Told("T is almost full"));
}

}  // namespace
}  // namespace vantry
