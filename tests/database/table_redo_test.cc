// Changed rows on their way into their tables: whatever is interrupted, a row is one of its states as a whole.
#include <gtest/gtest.h>

#include "support/table_rig.h"

namespace vantry {
namespace {

struct RedoTest : ::testing::Test {
  TableRig rig;
  RedoTest() {
    EXPECT_EQ(rig.Start(), Table::kOk);
    for (const char* name : {"n1", "n2", "n3"}) EXPECT_EQ(rig.Add(name, "old"), Table::kOk);
    EXPECT_EQ(T().Flush(), Table::kOk);
    rig.told.clear();
  }
  Table& T() { return rig.T(); }
  void Change(const std::string& name, const std::string& group) {
    ASSERT_EQ(rig.Find(name), Table::kOk);
    T().SetText(TableRig::kGroup, group);
    T().SetText(TableRig::kCode, "x" + group);
    ASSERT_EQ(T().Update(), Table::kOk);
  }
  // The next write to a row of the table reaches the disk by half; with `all_behind` no later one does.
  void TearRow(bool all_behind) {
    torn_ = false;
    rig.disk.breaks = [this, all_behind](const std::string& call) {
      if (torn_) return all_behind ? int64_t{-1} : int64_t{-2};
      torn_ = call.starts_with("write /T.DBF ") && call.ends_with(" 39");
      return torn_ ? int64_t{30} : int64_t{-2};
    };
  }
  std::string Row(size_t i) const { return rig.Rows().at(i); }
  void StartAgain() {
    rig.Crash();
    ASSERT_EQ(rig.Start(), Table::kOk) << T().Problem();
  }
  // That no row of the table is a mixture of two states.
  void ExpectWhole(const std::string& name, const std::vector<std::string>& groups) {
    ASSERT_EQ(rig.Find(name), Table::kOk);
    const std::string group(T().Text(TableRig::kGroup));
    EXPECT_TRUE(std::find(groups.begin(), groups.end(), group) != groups.end()) << group;
    EXPECT_EQ(T().Text(TableRig::kCode), group == "old" ? "c" + name : "x" + group);
  }

 private:
  bool torn_ = false;
};

TEST_F(RedoTest, ARowThatWasCutInTwoIsWrittenAgain) {
  Change("n2", "new");
  TearRow(true);
  EXPECT_EQ(T().Flush(), Table::kFailed);
  EXPECT_EQ(Row(1), "000000002 n2 cn2") << "the group is new and the code is not";
  StartAgain();
  EXPECT_EQ(Row(1), "000000002 n2 xnew");
  ExpectWhole("n2", {"new"});
  EXPECT_EQ(rig.Names(TableRig::kByGroup), "n2 n1 n3 ");
}

TEST_F(RedoTest, WithoutARestartTheRowIsWrittenAgainToo) {
  Change("n2", "new");
  TearRow(false);
  EXPECT_EQ(T().Flush(), Table::kFailed);
  EXPECT_EQ(T().Flush(), Table::kOk);
  EXPECT_EQ(Row(1), "000000002 n2 xnew");
}

// A row is half written, and then the file that could make it whole is about to be overwritten.
TEST_F(RedoTest, TheFileIsNotWrittenOverWhileARowNeedsIt) {
  for (const int part : {-1, 0, 10, 60}) {
    Change("n2", "new");
    TearRow(true);
    EXPECT_EQ(T().Flush(), Table::kFailed);
    Change("n3", "next");
    rig.disk.breaks = [&](const std::string& call) {
      return call.starts_with("write /Vantry.redo") || call.starts_with("write /T.DBF") ? int64_t{part} : int64_t{-2};
    };
    EXPECT_EQ(T().Flush(), Table::kFailed);
    StartAgain();
    ExpectWhole("n2", {"new"});
    ExpectWhole("n3", {"old", "next"});
    Change("n2", "old");
    T().SetText(TableRig::kCode, "cn2");
    ASSERT_EQ(T().Update(), Table::kOk);
    Change("n3", "old");
    T().SetText(TableRig::kCode, "cn3");
    ASSERT_EQ(T().Update(), Table::kOk);
    ASSERT_EQ(T().Flush(), Table::kOk);
  }
}

TEST_F(RedoTest, ARowThatIsNotDurableIsKeptInTheFile) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    Change("n2", "g" + std::to_string(seed));
    rig.disk.breaks = [](const std::string& call) { return call == "sync /T.DBF" ? int64_t{-1} : int64_t{-2}; };
    EXPECT_EQ(T().Flush(), Table::kFailed);
    Change("n3", "next");
    EXPECT_EQ(T().Flush(), Table::kFailed);
    std::mt19937 random(seed);
    rig.LosePower(random);
    ASSERT_EQ(rig.Start(), Table::kOk);
    ExpectWhole("n2", {"g" + std::to_string(seed)});
    ExpectWhole("n3", {"old", "next"});
  }
}

// The table is held by another program at the next start, and Vantry is stopped and started again.
TEST_F(RedoTest, ATableThatCantBeOpenedKeepsItsRowsInTheFile) {
  Change("n2", "new");
  TearRow(true);
  EXPECT_EQ(T().Flush(), Table::kFailed);
  rig.Crash();
  std::unique_ptr<DataFile> held;
  ASSERT_TRUE(rig.disk.Open("/T.DBF", OpenFor::kWriting, held).ok());
  EXPECT_EQ(rig.Start(), Table::kFailed);
  auto other = std::make_unique<Table>(*rig.connection, "Other");
  other->CreateTable("/", Table::kReadWrite, rig.fields, rig.keys);
  ASSERT_EQ(other->LastStatus(), Table::kOk);
  other->SetText(TableRig::kName, "o1");
  ASSERT_EQ(other->Insert(), Table::kOk);
  ASSERT_EQ(other->Flush(), Table::kOk);
  other->SetText(TableRig::kGroup, "x");
  ASSERT_EQ(other->Update(), Table::kOk);
  other->CloseTable();
  ASSERT_EQ(other->LastStatus(), Table::kOk);
  other.reset();
  rig.Close();
  rig.End();
  held.reset();
  ASSERT_EQ(rig.Start(), Table::kOk);
  ExpectWhole("n2", {"new"});
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
}

TEST_F(RedoTest, AnAttemptThatFailsKeepsItsRowsForTheNext) {
  for (const char* broken : {"write /T.DBF", "sync /T.DBF"}) {
    Change("n2", "new");
    TearRow(true);
    EXPECT_EQ(T().Flush(), Table::kFailed);
    rig.Crash();
    rig.disk.breaks = [&](const std::string& call) { return call.starts_with(broken) ? int64_t{20} : int64_t{-2}; };
    EXPECT_EQ(rig.Start(), Table::kFailed) << broken;
    rig.disk.breaks = [](const std::string&) { return int64_t{-2}; };
    EXPECT_EQ(rig.Open(), Table::kOk) << broken;
    ExpectWhole("n2", {"new"});
    Change("n2", "old");
    T().SetText(TableRig::kCode, "cn2");
    ASSERT_EQ(T().Update(), Table::kOk);
    ASSERT_EQ(T().Flush(), Table::kOk);
  }
}

// What is in the file after a good flush is in the tables, whatever was done with them since.
TEST_F(RedoTest, AnOldFileIsNotReadAfterAStop) {
  Change("n2", "new");
  ASSERT_EQ(T().Flush(), Table::kOk);
  const std::string redo = rig.disk.Get("/Vantry.redo");
  EXPECT_TRUE(Contains(redo, "xnew"));
  rig.Close();
  rig.End();
  EXPECT_EQ(rig.disk.Get("/Vantry.redo"), "");
  rig.disk.Put("/Vantry.redo", redo);
  std::string edited = rig.Bytes();
  edited.replace(edited.find("xnew"), 4, "edit");
  rig.disk.Put("/T.DBF", edited);
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_EQ(Row(1), "000000002 n2 edit");
}

// Another program may have packed the table: then the row of this number is another record.
TEST_F(RedoTest, RowsGoToTheirRecordsAlone) {
  Change("n2", "new");
  TearRow(true);
  EXPECT_EQ(T().Flush(), Table::kFailed);
  const size_t row_bytes = 39, first = rig.Bytes().size() - 1 - 3 * row_bytes;
  const std::string packed = rig.Bytes().substr(0, first) + rig.Bytes().substr(first + row_bytes);
  rig.Crash();
  rig.disk.Put("/T.DBF", packed);
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_EQ(rig.Rows(), (std::vector<std::string>{"000000002 n2 cn2", "000000003 n3 cn3"}));
  rig.Crash();
  rig.disk.Put("/T.DBF", packed.substr(0, first));
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_EQ(rig.Rows(), std::vector<std::string>{});
}

// Each whole stamp is written while the other one is on the disk for good.
TEST_F(RedoTest, AStampIsAlwaysLeft) {
  std::string trouble;
  int stamps = 0;
  rig.disk.breaks = [&](const std::string& call) {
    if (call.starts_with("write /Vantry.stamp ") && !call.ends_with(" 6")) {
      const auto& file = *rig.disk.entries["/Vantry.stamp"];
      const size_t other = LeadingNumber(call.substr(20)) == 0 ? kStampPlaceBytes : 0;
      const auto stamp = [&](std::string bytes) {
        bytes.resize(2 * kStampPlaceBytes, '\0');
        return bytes.substr(other, kStampPlaceBytes);
      };
      if (stamp(file.now) != stamp(file.durable) || !ParseStampFile(stamp(file.durable))) trouble += call + "; ";
      ++stamps;
    }
    return int64_t{-2};
  };
  for (int i = 0; i < 3; ++i) {
    Change("n2", "g" + std::to_string(i));
    ASSERT_EQ(T().Flush(), Table::kOk);
    if (i == 1) rig.disk.entries.erase("/Vantry.idx");
    ASSERT_EQ(rig.Restart(), Table::kOk);
    rig.Close();
    rig.End();
    rig.disk.Put("/T.DBF", rig.Bytes());
    ASSERT_EQ(rig.Start(), Table::kOk);
  }
  EXPECT_EQ(trouble, "");
  EXPECT_GT(stamps, 10);
}

// Too many changed rows to wait for a flush.
TEST_F(RedoTest, ManyChangedRowsAreWrittenOnTheWay) {
  constexpr int kRows = static_cast<int>(DbfFile::kMaxChangedRows) + 100;
  const auto name = [](int i) { return PadNumber(i, 5); };
  for (int i = 0; i < kRows; ++i) ASSERT_EQ(rig.Add(name(i)), Table::kOk);
  ASSERT_EQ(T().Flush(), Table::kOk);
  rig.disk.calls.clear();
  for (int i = 0; i < kRows; ++i) {
    ASSERT_EQ(rig.Find(name(i)), Table::kOk);
    T().SetText(TableRig::kCode, "x" + name(i));
    ASSERT_EQ(T().Update(), Table::kOk);
  }
  ASSERT_EQ(T().LastStatus(), Table::kOk);
  const auto synced = std::count(rig.disk.calls.begin(), rig.disk.calls.end(), "sync /T.DBF");
  EXPECT_EQ(synced, 1);
  rig.Crash();
  ASSERT_EQ(rig.Start(), Table::kOk);
  EXPECT_FALSE(rig.Told("were cut"));
  int changed = 0;
  for (const std::string& row : rig.Rows()) changed += Contains(row, " x");
  EXPECT_EQ(changed, static_cast<int>(DbfFile::kMaxChangedRows));
}

// While the stamp says closed no row may be written: nobody would look into this file, or for holes.
TEST_F(RedoTest, NothingIsWrittenUnderAClosedStamp) {
  constexpr int kRows = static_cast<int>(DbfFile::kMaxChangedRows) + 100;
  for (int i = 0; i < kRows; ++i) ASSERT_EQ(rig.Add(PadNumber(i, 5)), Table::kOk);
  // In pieces, until all of the index is there.
  do {
    ASSERT_EQ(T().Flush(), Table::kOk);
  } while (rig.connection->Index().Changed());
  rig.disk.calls.clear();
  rig.disk.breaks = [](const std::string& call) { return call.starts_with("write /Vantry.stamp") ? -1 : int64_t{-2}; };
  for (int i = 0; i < kRows; ++i) {
    ASSERT_EQ(rig.Find(PadNumber(i, 5)), Table::kOk);
    T().SetText(TableRig::kGroup, "x");
    ASSERT_EQ(T().Update(), Table::kOk);
  }
  ASSERT_EQ(rig.Add("new"), Table::kOk);
  Table* const one = &T();
  EXPECT_FALSE(rig.connection->WriteOut({&one, 1}).ok());
  for (const std::string& call : rig.disk.calls) EXPECT_TRUE(Contains(call, "Vantry.stamp")) << call;
  EXPECT_LE(rig.disk.calls.size(), 3u);
  rig.disk.breaks = [](const std::string&) { return int64_t{-2}; };
  EXPECT_EQ(T().Flush(), Table::kOk);
}

}  // namespace
}  // namespace vantry
