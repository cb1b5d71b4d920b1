// A table file on its own: how it is opened and put right, what waits in memory, and what other programs see of it at
// each write.
#include "database/dbf_file.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/memory_data_files.h"
#include "support/other_readers.h"

namespace vantry {
namespace {

constexpr const char* kPath = "/t.dbf";
const Day kDay = *MakeDay(2026, 3, 5), kLater = *MakeDay(2026, 3, 6);

RowLayout Layout() {
  RowLayout layout;
  EXPECT_TRUE(ParseFields({"RecordNo|C|9", "Text|C|10"}, layout).ok());
  return layout;
}

std::string RowOf(int number, const std::string& text = "text") {
  const RowLayout layout = Layout();
  std::string row(layout.row_bytes, ' ');
  PutText(layout.fields[0], PadNumber(number, 9), row.data());
  PutText(layout.fields[1], text, row.data());
  return row;
}

std::string Rows(int from, int to) {
  std::string rows;
  for (int i = from; i <= to; ++i) rows += RowOf(i);
  return rows;
}

std::string Header(uint32_t rows, Day day = kDay) {
  return BuildHeader(Layout(), day, rows);
}

struct DbfTest : ::testing::Test {
  MemoryDataFiles disk;
  DbfFile file{disk};
  std::string repair;

  Status Open(OpenFor purpose = OpenFor::kCreating, Day day = kDay) {
    return file.Open(kPath, purpose, Layout(), day, repair);
  }
  std::string Read(uint32_t number) {
    std::string row(file.Layout().row_bytes, '#');
    const Status status = file.Read(number, row.data());
    return status.ok() ? row : status.text;
  }
  void Append(const std::string& row) { file.Append(row.data()); }
  void Flush(Day day = kDay) {
    ASSERT_TRUE(file.WriteChangedRows().ok());
    ASSERT_TRUE(file.WriteNewRows(day).ok());
    ASSERT_TRUE(file.Sync().ok());
  }
};

TEST_F(DbfTest, AMissingOrEmptyFileBecomesAnEmptyTable) {
  for (const bool missing : {true, false}) {
    disk.entries.clear();
    if (!missing) disk.Put(kPath, "");
    ASSERT_TRUE(Open().ok());
    EXPECT_EQ(file.Rows(), 0u);
    EXPECT_EQ(repair, "");
    EXPECT_EQ(disk.Get(kPath), Header(0) + dbf::kEndMark);
    EXPECT_EQ(disk.entries[kPath]->durable, disk.Get(kPath));
    file.Close();
  }
  disk.entries.clear();
  EXPECT_EQ(Open(OpenFor::kWriting).fail, Fail::kNotFound);
  EXPECT_EQ(Open(OpenFor::kReading).fail, Fail::kNotFound);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(disk.Has(kPath));
}

// The program or the machine stopped while the table was made, the day before.
TEST_F(DbfTest, AHeaderThatWasNeverWholeIsMadeAnew) {
  const std::string whole = Header(0) + dbf::kEndMark;
  std::vector<std::string> torn;
  for (size_t bytes = 0; bytes < whole.size(); ++bytes) {
    torn.push_back(whole.substr(0, bytes));
    torn.push_back(whole.substr(0, bytes) + std::string(whole.size() - bytes, '\0'));
    torn.push_back(std::string(bytes, '\0') + whole.substr(bytes));
    torn.push_back(std::string(bytes, '\0'));
  }
  for (const std::string& bytes : torn) {
    disk.Put(kPath, bytes);
    const Status status = Open(OpenFor::kCreating, kLater);
    ASSERT_TRUE(status.ok()) << status.text << ", " << bytes.size();
    EXPECT_EQ(file.Rows(), 0u);
    EXPECT_EQ(OtherReaders(disk.Get(kPath)).trouble, "");
    EXPECT_EQ(disk.Get(kPath).size(), whole.size());
    file.Close();
  }
}

TEST_F(DbfTest, AnEmptyTableThatIsWholeIsLeftAlone) {
  disk.Put(kPath, Header(0) + dbf::kEndMark);
  ASSERT_TRUE(Open(OpenFor::kCreating, kLater).ok());
  EXPECT_EQ(disk.Get(kPath), Header(0) + dbf::kEndMark);
  EXPECT_EQ(disk.calls, std::vector<std::string>{"open /t.dbf"});
}

TEST_F(DbfTest, AFileOfSomethingElseIsRefusedAndLeftAlone) {
  for (const std::string& bytes : {std::string("x"), std::string("\x03 and a few words"), std::string(96, 'x'),
                                   "\x03" + std::string(500, 'x'), std::string(5000, '\0')}) {
    disk.Put(kPath, bytes);
    const Status status = Open();
    EXPECT_EQ(status.fail, Fail::kBadData) << bytes;
    EXPECT_TRUE(StartsWith(status.text, "/t.dbf is no dBase table: ")) << status.text;
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(disk.Get(kPath), bytes);
  }
}

struct Found {
  const char* what;
  std::string bytes;
  int rows;
  const char* repair;
};

std::vector<Found> FoundTables() {
  const std::string mark(1, dbf::kEndMark), row3 = RowOf(3), deleted = "*" + row3.substr(1);
  return {
      {"whole", Header(2) + Rows(1, 2) + mark, 2, ""},
      {"without the end mark", Header(2) + Rows(1, 2), 2, ""},
      {"a count behind", Header(1) + Rows(1, 3) + mark, 3, "the header counts 1 rows and the file holds 3"},
      {"a count ahead", Header(9) + Rows(1, 3) + mark, 3, "the header counts 9 rows and the file holds 3"},
      {"a count far ahead", Header(UINT32_MAX) + Rows(1, 3) + mark, 3,
       "the header counts 4294967295 rows and the file holds 3"},
      {"rows behind the end mark", Header(2) + Rows(1, 2) + mark + row3.substr(1) + mark, 2, ""},
      {"a part of a row behind the end mark", Header(2) + Rows(1, 2) + mark + row3.substr(1, 5), 2, ""},
      {"a cut row", Header(3) + Rows(1, 2) + row3.substr(0, 19), 2, "the header counts 3 rows and the file holds 2"},
      {"a cut row that was not counted", Header(2) + Rows(1, 2) + row3.substr(0, 7), 2, ""},
      {"a row of zeros at the end", Header(3) + Rows(1, 2) + std::string(20, '\0'), 2,
       "the header counts 3 rows and the file holds 2"},
      {"zeros in the middle", Header(3) + Rows(1, 1) + std::string(20, '\0') + row3 + mark, 3, ""},
      {"a deleted row at the end", Header(3) + Rows(1, 2) + deleted + mark, 3, ""},
      {"a deleted row that was not counted", Header(2) + Rows(1, 2) + deleted + mark, 3,
       "the header counts 2 rows and the file holds 3"},
      {"junk behind", Header(2) + Rows(1, 2) + mark + std::string(100, 'x'), 2, ""},
      {"junk without an end mark", Header(2) + Rows(1, 2) + std::string(100, 'x'), 2, ""},
      {"no row that was counted", Header(5) + mark, 0, "the header counts 5 rows and the file holds 0"},
      {"the header alone", Header(5), 0, "the header counts 5 rows and the file holds 0"},
  };
}

TEST_F(DbfTest, IsPutRightWhenItIsOpenedForWriting) {
  for (const Found& found : FoundTables()) {
    disk.Put(kPath, found.bytes);
    ASSERT_TRUE(Open(OpenFor::kWriting, kLater).ok()) << found.what;
    EXPECT_EQ(file.Rows(), static_cast<uint32_t>(found.rows)) << found.what;
    EXPECT_EQ(repair, found.repair) << found.what;
    const std::string bytes = disk.Get(kPath);
    const size_t end = Header(0).size() + static_cast<size_t>(found.rows) * 20;
    EXPECT_EQ(bytes.size(), end + 1) << found.what;
    EXPECT_EQ(bytes.back(), dbf::kEndMark) << found.what;
    // The rows themselves are as they were.
    EXPECT_EQ(bytes.substr(Header(0).size(), end - Header(0).size()),
              found.bytes.substr(Header(0).size(), end - Header(0).size()))
        << found.what;
    const Day updated = bytes == found.bytes ? kDay : kLater;
    EXPECT_EQ(bytes.substr(0, 8), Header(static_cast<uint32_t>(found.rows), updated).substr(0, 8)) << found.what;
    file.Close();
    disk.calls.clear();
    ASSERT_TRUE(Open(OpenFor::kWriting).ok());
    EXPECT_EQ(repair, "") << found.what << ", the second time";
    EXPECT_EQ(disk.calls.size(), 1u) << found.what << ", the second time";
    file.Close();
  }
}

TEST_F(DbfTest, IsNeverWrittenWhenItIsOpenedForReading) {
  disk.read_only = true;
  for (const Found& found : FoundTables()) {
    disk.Put(kPath, found.bytes);
    ASSERT_TRUE(Open(OpenFor::kReading).ok()) << found.what;
    EXPECT_EQ(file.Rows(), static_cast<uint32_t>(found.rows)) << found.what;
    EXPECT_EQ(repair, found.repair) << found.what;
    EXPECT_EQ(disk.Get(kPath), found.bytes) << found.what;
    file.Close();
  }
}

// The first row need not follow the fields directly, and what another program keeps in the header stays.
TEST_F(DbfTest, AForeignHeaderIsKept) {
  std::string header = Header(1) + std::string(263, 'b');
  header[8] = static_cast<char>(header.size() & 255);
  header[9] = static_cast<char>(header.size() >> 8);
  header[29] = 0x57;
  disk.Put(kPath, header + Rows(1, 1) + dbf::kEndMark);
  ASSERT_TRUE(Open(OpenFor::kWriting).ok());
  Append(RowOf(2));
  Flush(kLater);
  std::string expected = header + Rows(1, 2) + dbf::kEndMark;
  expected.replace(dbf::kDatePlace, dbf::kDateBytes, BuildDateAndCount(kLater, 2));
  EXPECT_EQ(disk.Get(kPath), expected);
}

TEST_F(DbfTest, WhatWaitsIsSeenAtOnceAndWrittenLater) {
  disk.Put(kPath, Header(3) + Rows(1, 3) + dbf::kEndMark);
  ASSERT_TRUE(Open().ok());
  EXPECT_FALSE(file.Changed());
  const std::string before = disk.Get(kPath);
  EXPECT_EQ(file.Append(RowOf(4).data()), 4u);
  EXPECT_EQ(file.Append(RowOf(5).data()), 5u);
  file.Rewrite(2, RowOf(2, "other").data());
  file.Rewrite(5, RowOf(5, "new").data());
  file.Rewrite(2, RowOf(2, "newest").data());
  EXPECT_EQ(disk.Get(kPath), before);
  EXPECT_TRUE(file.Waiting());
  EXPECT_EQ(file.Rows(), 5u);
  const std::string all = RowOf(1) + RowOf(2, "newest") + RowOf(3) + RowOf(4) + RowOf(5, "new");
  const auto expect_rows = [&] {
    for (uint32_t i = 1; i <= 5; ++i) EXPECT_EQ(Read(i), all.substr((i - 1) * 20, 20));
    EXPECT_EQ(Read(0), "/t.dbf: there is no row 0");
    EXPECT_EQ(Read(6), "/t.dbf: there is no row 6");
    std::string read, part;
    for (uint32_t first = 1; first <= 5; first += static_cast<uint32_t>(part.size() / 20)) {
      ASSERT_TRUE(file.ReadRows(first, 2, part).ok());
      ASSERT_FALSE(part.empty());
      ASSERT_LE(part.size(), 40u);
      read += part;
    }
    EXPECT_EQ(read, all);
    EXPECT_TRUE(file.ReadRows(6, 2, part).ok());
    EXPECT_EQ(part, "");
  };
  expect_rows();
  Flush(kLater);
  EXPECT_FALSE(file.Changed());
  EXPECT_FALSE(file.Waiting());
  EXPECT_EQ(disk.Get(kPath), Header(5, kLater) + all + dbf::kEndMark);
  EXPECT_EQ(disk.entries[kPath]->durable, disk.Get(kPath));
  expect_rows();
}

TEST_F(DbfTest, ManyRowsAreReadInPieces) {
  disk.Put(kPath, Header(10'000) + Rows(1, 10'000) + dbf::kEndMark);
  ASSERT_TRUE(Open(OpenFor::kReading).ok());
  std::string read, part;
  for (uint32_t first = 1; first <= file.Rows(); first += static_cast<uint32_t>(part.size() / 20)) {
    ASSERT_TRUE(file.ReadRows(first, UINT32_MAX, part).ok());
    read += part;
  }
  EXPECT_EQ(read, Rows(1, 10'000));
}

TEST_F(DbfTest, AFileThatWasCutWhileItWasOpenIsToldWhenItIsRead) {
  disk.Put(kPath, Header(3) + Rows(1, 3) + dbf::kEndMark);
  ASSERT_TRUE(Open().ok());
  disk.Put(kPath, (Header(3) + Rows(1, 3)).substr(0, Header(0).size() + 50));
  EXPECT_EQ(Read(2), RowOf(2));
  EXPECT_EQ(Read(3), "/t.dbf: the file was cut while it was open");
  std::string part;
  EXPECT_EQ(file.ReadRows(1, 3, part).fail, Fail::kIo);
}

TEST_F(DbfTest, AFileOfThisNameThatIsAnotherIsNoticed) {
  ASSERT_TRUE(Open().ok());
  EXPECT_TRUE(file.CheckOurs().ok());
  const auto kept = disk.entries[kPath];
  disk.entries.erase(kPath);
  EXPECT_EQ(file.CheckOurs().fail, Fail::kNotFound);
  disk.Put(kPath, kept->now);
  const Status status = file.CheckOurs();
  EXPECT_EQ(status.fail, Fail::kRefused);
  EXPECT_EQ(status.text, "/t.dbf: was replaced by another file while it was open");
  disk.entries[kPath] = kept;
  EXPECT_TRUE(file.CheckOurs().ok());
}

TEST_F(DbfTest, NothingIsWrittenIntoWhatOthersHaveMadeOfTheFile) {
  disk.Put(kPath, Header(3) + Rows(1, 3) + dbf::kEndMark);
  ASSERT_TRUE(Open().ok());
  // Our own writes don't count.
  file.Append(RowOf(4).data());
  file.Rewrite(1, RowOf(9).data());
  EXPECT_TRUE(file.WriteChangedRows().ok());
  EXPECT_TRUE(file.WriteNewRows({}).ok());
  EXPECT_TRUE(file.CheckOurs().ok());
  const std::string ours = disk.Get(kPath);
  const std::string theirs[] = {Header(2) + Rows(1, 2) + dbf::kEndMark, ours.substr(0, ours.size() - 5), "",
                                ours.substr(0, ours.size() - 2) + "x" + dbf::kEndMark};
  for (const std::string& bytes : theirs) {
    disk.Put(kPath, bytes);
    file.Append(RowOf(5).data());
    file.Rewrite(2, RowOf(8).data());
    for (const Status& status :
         {file.CheckOurs(), file.WriteChangedRows(), file.WriteNewRows({}), file.RestoreRow(1, RowOf(7))}) {
      EXPECT_EQ(status.fail, Fail::kRefused);
      EXPECT_EQ(status.text, "/t.dbf: was changed by another program while it was open");
    }
    EXPECT_EQ(disk.Get(kPath), bytes);
    EXPECT_TRUE(file.Waiting());
    disk.Put(kPath, ours);
    ASSERT_TRUE(Open().ok());
  }
}

}  // namespace
}  // namespace vantry
