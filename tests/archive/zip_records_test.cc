#include "archive/zip_records.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

ZipEntry Sample(std::string name = "a.log") {
  ZipEntry entry;
  entry.name = std::move(name);
  entry.crc = 0x12345678;
  entry.size = 1'000;
  entry.packed_size = 100;
  entry.offset = 40;
  entry.written_s = 1'772'712'001;
  entry.written = {MakeDay(2026, 3, 5)->n * kSecondsPerDay + 12 * 3600 + 1};
  return entry;
}

std::string Whole(const std::vector<ZipEntry>& entries, int64_t data_bytes, ZipEnd& end) {
  std::string directory;
  for (const ZipEntry& entry : entries) directory += DirectoryRecord(entry);
  end = {static_cast<int64_t>(entries.size()), data_bytes, static_cast<int64_t>(directory.size())};
  return directory + EndRecords(end);
}

void ExpectRead(const std::vector<ZipEntry>& entries, int64_t data_bytes, size_t end_bytes) {
  ZipEnd end;
  const std::string tail = Whole(entries, data_bytes, end);
  EXPECT_EQ(EndRecords(end).size(), end_bytes);
  const auto read = ParseEnd(tail, data_bytes + static_cast<int64_t>(tail.size()));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->entries, end.entries);
  EXPECT_EQ(read->directory_offset, end.directory_offset);
  EXPECT_EQ(read->directory_size, end.directory_size);
  const auto list = ParseDirectory(std::string_view(tail).substr(0, static_cast<size_t>(end.directory_size)), *read);
  ASSERT_TRUE(list);
  ASSERT_EQ(list->size(), entries.size());
  for (size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ((*list)[i].name, entries[i].name);
    EXPECT_EQ((*list)[i].crc, entries[i].crc);
    EXPECT_EQ((*list)[i].size, entries[i].size);
    EXPECT_EQ((*list)[i].packed_size, entries[i].packed_size);
    EXPECT_EQ((*list)[i].offset, entries[i].offset);
  }
}

TEST(ZipRecords, AreReadBack) {
  ExpectRead({}, 0, 22);
  ExpectRead({Sample(),
              Sample("K\xC3\xBC"
                     "che.log"),
              Sample("\xFF")},
             5'000, 22);
}

TEST(ZipRecords, HaveRoomForBigLogsAndFarPlaces) {
  ZipEntry big = Sample();
  big.size = 10'000'000'000;
  big.packed_size = 5'000'000'000;
  ZipEntry far = Sample("far");
  far.offset = 5'000'000'100;
  ZipEntry both = big;
  both.offset = 6'000'000'000;
  ExpectRead({big, far, both}, 12'000'000'000, 98);
  EXPECT_EQ(LocalHeader(big).size(), 30u + 5 + 20 + 9);
}

TEST(ZipRecords, ManyEntriesNeedTheLargeEnd) {
  std::vector<ZipEntry> many(65'535, Sample());
  ExpectRead(many, 5'000, 98);
  many.pop_back();
  ExpectRead(many, 5'000, 22);
}

TEST(ZipRecords, HeaderKeepsItsLength) {
  ZipEntry entry = Sample();
  entry.crc = 0;
  entry.packed_size = 0;
  EXPECT_EQ(LocalHeader(entry).size(), LocalHeader(Sample()).size());
}

TEST(ZipRecords, TimesOutsideTheirFieldsAreCut) {
  ZipEntry old = Sample();
  old.written_s = -1;
  old.written = {MakeDay(1969, 12, 31)->n * kSecondsPerDay};
  const std::string header = LocalHeader(old);
  EXPECT_EQ(header.size(), 30u + 5) << "no time field";
  EXPECT_EQ(header.substr(10, 4), std::string("\0\0\x21\0", 4)) << "1 January 1980";
}

TEST(ZipRecords, OnlyTheEndOfAWholeZipIsTaken) {
  ZipEnd end;
  const std::string tail = Whole({Sample()}, 500, end);
  const auto size = 500 + static_cast<int64_t>(tail.size());
  EXPECT_TRUE(ParseEnd(tail, size));
  EXPECT_FALSE(ParseEnd(tail, size + 1)) << "something stands before it";
  for (size_t cut = 1; cut < tail.size(); ++cut) {
    EXPECT_FALSE(ParseEnd(tail.substr(0, tail.size() - cut), size - static_cast<int64_t>(cut))) << cut;
  }
  EXPECT_FALSE(ParseEnd("", 0));
  EXPECT_FALSE(ParseEnd(std::string(100, 'x'), 100));
}

TEST(ZipRecords, ALargeEndThatCantBeIsNone) {
  // The sum of what it says, wrapped around, is just where the plain end is.
  const std::string large = EndRecords({70'000, 60'000, 40'000});
  const size_t place = large.size() - 22;
  const auto put = [](std::string& bytes, size_t at, uint64_t number) {
    for (int i = 0; i < 8; ++i) bytes[at++] = static_cast<char>(number >> 8 * i & 0xFF);
  };
  std::string tail = large;
  put(tail, 40, 0x8000'0000'0000'0000);
  put(tail, 48, 0x8000'0000'0000'0000 + 100'000 + place);
  ASSERT_TRUE(ParseEnd(large, 100'000 + static_cast<int64_t>(large.size())));
  EXPECT_FALSE(ParseEnd(tail, 100'000 + static_cast<int64_t>(tail.size())));
}

TEST(ZipRecords, ACommentAtTheEndIsPassedOver) {
  ZipEnd end;
  std::string tail = Whole({Sample()}, 500, end);
  tail[tail.size() - 2] = 3;
  tail += "abc";
  EXPECT_TRUE(ParseEnd(tail, 500 + static_cast<int64_t>(tail.size())));
}

TEST(ZipRecords, DamagedDirectoryIsNone) {
  ZipEnd end;
  const std::string tail = Whole({Sample()}, 500, end);
  std::string directory = tail.substr(0, static_cast<size_t>(end.directory_size));
  EXPECT_TRUE(ParseDirectory(directory, end));
  for (size_t cut = 1; cut <= directory.size(); ++cut) {
    EXPECT_FALSE(ParseDirectory(directory.substr(0, directory.size() - cut), end)) << cut;
  }
  EXPECT_FALSE(ParseDirectory(directory, {2, 500, end.directory_size}));
  EXPECT_FALSE(ParseDirectory(directory, {1, 30, end.directory_size})) << "an entry outside the data";
  directory[28] = '\xFF';
  EXPECT_FALSE(ParseDirectory(directory, end)) << "a name beyond the end";
}

}  // namespace
}  // namespace vantry
