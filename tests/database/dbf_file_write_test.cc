// What other programs see of a table at each of its writes, and what is left of it when the program ends, the power
// goes or the disk is full at any of them.
#include <gtest/gtest.h>

#include "core/text.h"
#include "database/dbf_file.h"
#include "support/memory_data_files.h"
#include "support/other_readers.h"

namespace vantry {
namespace {

constexpr const char* kFlushPath = "/t.dbf";
const Day kFirstDay = *MakeDay(2026, 2, 28), kNextDay = *MakeDay(2026, 3, 1);
constexpr int64_t kWhole = -2;

// How much of the write that is broken reaches the disk.
constexpr const char* kParts[] = {"nothing at all", "no byte", "one byte", "half", "all but one byte"};
int64_t PartOf(int part, const std::string& call) {
  const std::string bytes = call.substr(call.rfind(' ') + 1);
  const int64_t all = call.starts_with("write ") ? std::stoll(bytes) : 0;
  return part == 0 ? -1 : part == 1 ? 0 : part == 2 ? std::min<int64_t>(1, all) : part == 3 ? all / 2 : all - 1;
}

RowLayout FlushLayout() {
  RowLayout layout;
  EXPECT_TRUE(ParseFields({"RecordNo|C|9", "Text|C|190"}, layout).ok());
  return layout;
}

// Each version of a row differs from the others in every part.
std::string FlushRow(uint32_t number, char version = 'a') {
  const RowLayout layout = FlushLayout();
  std::string row(layout.row_bytes, ' ');
  PutText(layout.fields[0], PadNumber(number, 9), row.data());
  PutText(layout.fields[1], std::string(190, static_cast<char>(version + number % 7)), row.data());
  return row;
}

struct WriteRig {
  MemoryDataFiles disk;
  std::unique_ptr<DbfFile> file;
  std::string repair;
  std::vector<uint32_t> batches{0};  // Row counts that a reader may see.
  uint32_t durable = 0;              // Rows that no loss of power may take.
  int calls = 0;
  std::string first_trouble;

  Status Open() {
    file = std::make_unique<DbfFile>(disk);
    return file->Open(kFlushPath, OpenFor::kCreating, FlushLayout(), kFirstDay, repair);
  }
  void Append(uint32_t count, char version = 'a') {
    for (uint32_t i = 0; i < count; ++i) file->Append(FlushRow(file->Rows() + 1, version).data());
    batches.push_back(file->Rows());
  }
  Status Flush() {
    Status status = file->WriteNewRows(kNextDay);
    if (status.ok()) status = file->Sync();
    if (status.ok()) durable = file->Rows();
    return status;
  }
  // A day of writing, as far as it goes. Counts pass 255 on the way.
  void Run() {
    if (!Open().ok()) return;
    for (const uint32_t rows : {3u, 1u, 260u, 2u}) {
      Append(rows);
      if (!Flush().ok()) return;
    }
  }
  // Breaks the call with this number and all later ones: the program has ended.
  void EndAt(int call, int part) {
    disk.breaks = [this, call, part](const std::string& what) {
      if (first_trouble.empty() && calls > 1) first_trouble = Trouble();
      return ++calls < call ? kWhole : calls == call ? PartOf(part, what) : int64_t{-1};
    };
  }
  void Restart() {
    file.reset();
    disk.EndProgram();
    disk.breaks = [](const std::string&) { return kWhole; };
  }
  bool Seen(size_t rows) const { return std::find(batches.begin(), batches.end(), rows) != batches.end(); }
  // What is wrong with the file in the eyes of other programs.
  std::string Trouble() const {
    const OtherReaders others(disk.Get(kFlushPath));
    if (!others.trouble.empty()) return others.trouble;
    for (const auto* rows : {&others.by_count, &others.by_mark}) {
      if (!Seen(rows->size())) return "a part of the new rows: " + std::to_string(rows->size());
      for (uint32_t i = 0; i < rows->size(); ++i) {
        if ((*rows)[i] != FlushRow(i + 1)) return "row " + std::to_string(i + 1) + " is another";
      }
    }
    return others.by_mark.size() < others.by_count.size() ? "the mark stands before the counted rows" : "";
  }
};

TEST(DbfWriting, EveryReaderSeesWholeBatchesBeforeAndAfterEachWrite) {
  WriteRig rig;
  rig.EndAt(INT_MAX, 0);
  rig.Run();
  EXPECT_EQ(rig.first_trouble, "");
  EXPECT_EQ(rig.Trouble(), "");
  EXPECT_EQ(OtherReaders(rig.disk.Get(kFlushPath)).by_count.size(), 266u);
  EXPECT_GT(rig.calls, 15);
}

TEST(DbfWriting, AProgramThatEndsInAnyWriteLeavesWholeBatches) {
  for (int part = 0; part < 5; ++part) {
    for (int call = 3;; ++call) {  // Behind the making of the empty table.
      WriteRig rig;
      rig.EndAt(call, part);
      rig.Run();
      const bool ended = rig.calls >= call;
      ASSERT_EQ(rig.first_trouble + rig.Trouble(), "") << kParts[part] << " of call " << call;
      rig.Restart();
      ASSERT_TRUE(rig.Open().ok());
      ASSERT_TRUE(rig.Seen(rig.file->Rows())) << rig.file->Rows();
      ASSERT_GE(rig.file->Rows(), rig.durable);
      ASSERT_EQ(rig.Trouble(), "") << kParts[part] << " of call " << call;
      const OtherReaders others(rig.disk.Get(kFlushPath));
      ASSERT_EQ(others.by_count, others.by_mark);
      ASSERT_EQ(others.by_count.size(), rig.file->Rows());
      // It goes on as if nothing had been.
      rig.Append(2);
      ASSERT_TRUE(rig.Flush().ok());
      ASSERT_EQ(rig.Trouble(), "");
      if (!ended) break;
    }
  }
}

TEST(DbfWriting, AProgramThatEndsWhileItMakesTheTableMakesItTheNextTime) {
  for (int part = 0; part < 5; ++part) {
    for (int call = 1; call < 4; ++call) {
      WriteRig rig;
      rig.EndAt(call, part);
      rig.Run();
      rig.Restart();
      ASSERT_TRUE(rig.Open().ok()) << kParts[part] << " of call " << call;
      ASSERT_EQ(rig.Trouble(), "");
    }
  }
}

// A row that is not whole after a loss of power can be told by its hole.
void ExpectWholeOrHoles(const WriteRig& rig, const std::string& where) {
  std::string row(FlushLayout().row_bytes, ' ');
  ASSERT_GE(rig.file->Rows(), rig.durable) << where;
  for (uint32_t i = 1; i <= rig.file->Rows(); ++i) {
    ASSERT_TRUE(rig.file->Read(i, row.data()).ok()) << where;
    const bool whole = row == FlushRow(i) || row == FlushRow(i, 'A');
    ASSERT_TRUE(whole || (i > rig.durable && HasHole(row))) << where << ", row " << i << row;
  }
  const std::string bytes = rig.disk.Get(kFlushPath);
  ASSERT_EQ(bytes.size(), FlushLayout().row_bytes * rig.file->Rows() + 98) << where;
  ASSERT_EQ(bytes.back(), dbf::kEndMark) << where;
}

TEST(DbfWriting, ALossOfPowerInAnyWriteTakesNoDurableRow) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    for (int call = 1;; ++call) {
      WriteRig rig;
      rig.EndAt(call, static_cast<int>(seed % 5));
      rig.Run();
      const bool ended = rig.calls >= call;
      rig.Restart();
      std::mt19937 random(seed * 1000 + static_cast<unsigned>(call));
      rig.disk.LosePower(random);
      const std::string where = "seed " + std::to_string(seed) + ", call " + std::to_string(call);
      const Status status = rig.Open();
      ASSERT_TRUE(status.ok()) << where << ": " << status.text;
      ASSERT_NO_FATAL_FAILURE(ExpectWholeOrHoles(rig, where));
      if (!ended) break;
    }
  }
}

// The disk is full at one of the writes, the rows that wait change meanwhile, and when it takes them the power goes.
TEST(DbfWriting, WhatAFullDiskLeftIsNeverMixedWithWhatIsWrittenLater) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    for (int broken = 1; broken <= 3; ++broken) {
      for (int end = 1; end <= 8; ++end) {
        WriteRig rig;
        ASSERT_TRUE(rig.Open().ok());
        rig.Append(5);
        ASSERT_TRUE(rig.Flush().ok());
        rig.Append(12, 'A');
        int calls = 0;
        rig.disk.breaks = [&](const std::string& call) {
          return ++calls >= broken ? PartOf(static_cast<int>(seed % 5), call) : kWhole;
        };
        EXPECT_FALSE(rig.file->WriteNewRows(kNextDay).ok());
        if (seed % 2 == 0) (void)rig.file->Sync();
        calls = 0;
        if (rig.file->Waiting()) {
          for (uint32_t i = 6; i <= 17; ++i) rig.file->Rewrite(i, FlushRow(i).data());
        }
        rig.disk.breaks = [&](const std::string& call) {
          return ++calls < end ? kWhole : PartOf(static_cast<int>(seed / 5 % 5), call);
        };
        (void)rig.Flush();
        rig.Restart();
        std::mt19937 random(seed);
        rig.disk.LosePower(random);
        ASSERT_TRUE(rig.Open().ok());
        ASSERT_NO_FATAL_FAILURE(ExpectWholeOrHoles(
            rig, "seed " + std::to_string(seed) + ", " + std::to_string(broken) + ", " + std::to_string(end)));
      }
    }
  }
}

// The disk is full from each of the writes on, for one or more flushes. Nothing is lost and readers see whole batches.
TEST(DbfWriting, NothingIsLostWhileTheDiskIsFull) {
  for (int part = 0; part < 5; ++part) {
    for (int call = 4; call < 20; ++call) {
      WriteRig rig;
      int calls = 0;
      bool full = true;
      rig.disk.breaks = [&](const std::string& what) {
        if (rig.first_trouble.empty() && calls > 1) rig.first_trouble = rig.Trouble();
        return ++calls >= call && full ? PartOf(part, what) : kWhole;
      };
      ASSERT_TRUE(rig.Open().ok());
      int failed = 0;
      for (int round = 0; round < 8; ++round) {
        rig.Append(3);
        if (!rig.Flush().ok()) {
          ++failed;
          EXPECT_TRUE(rig.file->Changed());
        }
      }
      EXPECT_GT(failed, 0);
      full = false;
      ASSERT_TRUE(rig.Flush().ok()) << kParts[part] << " of call " << call;
      EXPECT_FALSE(rig.file->Changed());
      EXPECT_EQ(rig.first_trouble, "") << kParts[part] << " of call " << call;
      EXPECT_EQ(rig.Trouble(), "");
      EXPECT_EQ(OtherReaders(rig.disk.Get(kFlushPath)).by_count.size(), 24u);
    }
  }
}

TEST(DbfWriting, AFullDiskIsNotAskedForEveryRow) {
  WriteRig rig;
  ASSERT_TRUE(rig.Open().ok());
  int calls = 0;
  rig.disk.breaks = [&](const std::string&) {
    ++calls;
    return int64_t{-1};
  };
  const std::string row = FlushRow(1);
  uint32_t appended = 0;
  while (rig.file->HasRoom()) {
    rig.file->Append(row.data());
    ++appended;
    if (rig.file->WantsWriting()) {
      EXPECT_FALSE(rig.file->WriteNewRows(kFirstDay).ok());
    }
  }
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(appended, DbfFile::kMaxWaitingBytes / row.size() + 1);
  rig.disk.breaks = [](const std::string&) { return kWhole; };
  EXPECT_TRUE(rig.Flush().ok());
  EXPECT_TRUE(rig.file->HasRoom());
  EXPECT_EQ(rig.file->Rows(), appended);
}

TEST(DbfWriting, ACountThatCouldNotBeWrittenIsWrittenLater) {
  WriteRig rig;
  ASSERT_TRUE(rig.Open().ok());
  rig.Append(3);
  rig.disk.breaks = [](const std::string& call) { return call == "write /t.dbf 1 7" ? int64_t{0} : kWhole; };
  EXPECT_FALSE(rig.file->WriteNewRows(kNextDay).ok());
  EXPECT_TRUE(rig.file->Sync().ok());
  EXPECT_EQ(rig.Trouble(), "");
  EXPECT_TRUE(rig.file->Changed()) << "the count is behind";
  rig.disk.breaks = [](const std::string&) { return kWhole; };
  ASSERT_TRUE(rig.Flush().ok());
  EXPECT_FALSE(rig.file->Changed());
  EXPECT_EQ(OtherReaders(rig.disk.Get(kFlushPath)).by_count.size(), 3u);
}

TEST(DbfWriting, WhatCouldNotBeMadeDurableStaysChanged) {
  WriteRig rig;
  ASSERT_TRUE(rig.Open().ok());
  rig.Append(3);
  rig.disk.breaks = [](const std::string& call) { return call.starts_with("sync") ? int64_t{-1} : kWhole; };
  EXPECT_FALSE(rig.Flush().ok());
  EXPECT_TRUE(rig.file->Changed());
  EXPECT_FALSE(rig.file->Waiting());
  rig.disk.breaks = [](const std::string&) { return kWhole; };
  EXPECT_TRUE(rig.Flush().ok());
  EXPECT_FALSE(rig.file->Changed());
  EXPECT_EQ(rig.disk.entries[kFlushPath]->durable, rig.disk.Get(kFlushPath));
}

TEST(DbfWriting, ChangedRowsThatCouldNotBeWrittenStayChanged) {
  for (int broken = 1; broken <= 3; ++broken) {
    WriteRig rig;
    ASSERT_TRUE(rig.Open().ok());
    rig.Append(7, 'A');
    ASSERT_TRUE(rig.Flush().ok());
    for (uint32_t i = 2; i <= 6; i += 2) rig.file->Rewrite(i, FlushRow(i).data());
    int calls = 0;
    rig.disk.breaks = [&](const std::string& call) { return ++calls == broken ? PartOf(3, call) : kWhole; };
    EXPECT_FALSE(rig.file->WriteChangedRows().ok());
    EXPECT_EQ(rig.file->Rewritten().Count(), static_cast<size_t>(4 - broken));
    std::string row(FlushLayout().row_bytes, ' ');
    for (uint32_t i = 2; i <= 6; i += 2) {
      ASSERT_TRUE(rig.file->Read(i, row.data()).ok());
      EXPECT_EQ(row, FlushRow(i));
    }
    EXPECT_TRUE(rig.file->WriteChangedRows().ok());
    EXPECT_TRUE(rig.file->Sync().ok());
    EXPECT_EQ(OtherReaders(rig.disk.Get(kFlushPath)).by_count,
              (std::vector<std::string>{FlushRow(1, 'A'), FlushRow(2), FlushRow(3, 'A'), FlushRow(4), FlushRow(5, 'A'),
                                        FlushRow(6), FlushRow(7, 'A')}));
  }
}

// Rows side by side reach the file in one piece.
TEST(DbfWriting, ChangedRowsSideBySideAreWrittenTogether) {
  WriteRig rig;
  ASSERT_TRUE(rig.Open().ok());
  rig.Append(9, 'A');
  ASSERT_TRUE(rig.Flush().ok());
  for (const uint32_t i : {7u, 3u, 2u, 8u, 4u}) rig.file->Rewrite(i, FlushRow(i, 'B').data());
  rig.file->Rewrite(3, FlushRow(3, 'C').data());
  int calls = 0;
  rig.disk.breaks = [&](const std::string&) {
    ++calls;
    return kWhole;
  };
  EXPECT_TRUE(rig.file->WriteChangedRows().ok());
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(OtherReaders(rig.disk.Get(kFlushPath)).by_count,
            (std::vector<std::string>{FlushRow(1, 'A'), FlushRow(2, 'B'), FlushRow(3, 'C'), FlushRow(4, 'B'),
                                      FlushRow(5, 'A'), FlushRow(6, 'A'), FlushRow(7, 'B'), FlushRow(8, 'B'),
                                      FlushRow(9, 'A')}));
}

}  // namespace
}  // namespace vantry
