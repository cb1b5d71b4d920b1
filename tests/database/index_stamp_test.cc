// The stamp beside the index: it is read as it was written or not at all.
#include "database/index_stamp.h"

#include <gtest/gtest.h>

#include "core/text.h"

namespace vantry {
namespace {

IndexStamp Sample() {
  IndexStamp stamp;
  stamp.closed = true;
  stamp.turn = 12;
  stamp.index = {4096, 77, 1'700'000'000'123'456'789, 1'700'000'000'223'456'789};
  stamp.tables.push_back({"Visits", true, 12, 345, {1000, 78, -5, 6}, "key0|IP + Site||U|; key1|Site|"});
  stamp.tables.push_back({"DaySum", false, 4'294'967'295, 999'999'999, {INT64_MAX, UINT64_MAX, 0, INT64_MIN}, ""});
  return stamp;
}

void ExpectSame(const IndexStamp& found, const IndexStamp& wanted) {
  EXPECT_EQ(found.closed, wanted.closed);
  EXPECT_EQ(found.turn, wanted.turn);
  EXPECT_EQ(found.index, wanted.index);
  ASSERT_EQ(found.tables.size(), wanted.tables.size());
  for (size_t i = 0; i < wanted.tables.size(); ++i) {
    const TableStamp &a = found.tables[i], &b = wanted.tables[i];
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.fits, b.fits) << b.name;
    EXPECT_EQ(a.rows, b.rows) << b.name;
    EXPECT_EQ(a.next_record, b.next_record) << b.name;
    EXPECT_EQ(a.file, b.file) << b.name;
    EXPECT_EQ(a.keys, b.keys) << b.name;
  }
}

TEST(IndexStamp, IsReadAsItWasWritten) {
  for (const bool closed : {false, true}) {
    IndexStamp stamp = Sample();
    stamp.closed = closed;
    const auto found = ParseStamp(BuildStamp(stamp));
    ASSERT_TRUE(found);
    ExpectSame(*found, stamp);
  }
  const auto empty = ParseStamp(BuildStamp({}));
  ASSERT_TRUE(empty);
  ExpectSame(*empty, {});
}

TEST(IndexStamp, TablesAreFoundByTheirNames) {
  const IndexStamp stamp = Sample();
  ASSERT_NE(stamp.Find("DaySum"), nullptr);
  EXPECT_EQ(stamp.Find("DaySum")->next_record, 999'999'999u);
  EXPECT_EQ(stamp.Find("Pages"), nullptr);
  EXPECT_EQ(stamp.Find(""), nullptr);
}

// A crash in the middle of the change leaves one word or the other, or neither.
TEST(IndexStamp, TheStateIsChangedInPlace) {
  std::string text = BuildStamp(Sample());
  text.replace(kStampStatePlace, kStampOpen.size(), kStampOpen);
  IndexStamp open = Sample();
  open.closed = false;
  EXPECT_EQ(text, BuildStamp(open));
  const auto found = ParseStamp(text);
  ASSERT_TRUE(found);
  ExpectSame(*found, open);
  for (size_t bytes = 1; bytes < kStampOpen.size(); ++bytes) {
    std::string half = BuildStamp(Sample());
    half.replace(kStampStatePlace, bytes, kStampOpen.substr(0, bytes));
    EXPECT_FALSE(ParseStamp(half)) << bytes;
  }
}

TEST(IndexStamp, IsRefusedWhenItWasCutOrGoesOn) {
  const std::string text = BuildStamp(Sample());
  for (size_t bytes = 0; bytes < text.size(); ++bytes) EXPECT_FALSE(ParseStamp(text.substr(0, bytes))) << bytes;
  EXPECT_FALSE(ParseStamp(text + "\n"));
  EXPECT_FALSE(ParseStamp(text + text));
  EXPECT_FALSE(ParseStamp(text + BuildStamp({}).substr(20)));
}

TEST(IndexStamp, IsRefusedWhenAnyByteIsAnother) {
  const std::string text = BuildStamp(Sample());
  for (size_t at = 0; at < text.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string other = text;
      other[at] = static_cast<char>(other[at] ^ (1 << bit));
      EXPECT_FALSE(ParseStamp(other)) << at << "." << bit;
    }
  }
}

// Of another version, or with a sum that is right although the text is not a stamp.
TEST(IndexStamp, OtherTextsAreRefusedWhateverTheirSum) {
  const std::string text = BuildStamp(Sample());
  const auto with_body = [&](const std::string& body) {
    char sum[32];
    std::snprintf(sum, sizeof sum, "sum %016llx\n", static_cast<unsigned long long>(CheckSum(body)));
    return text.substr(0, text.find('\n') + 1) + body + sum;
  };
  EXPECT_TRUE(ParseStamp(with_body("index 9 1 2 3 4\ntable A fits 1 2 3 4 5 6 keys\n")));
  for (const char* body : {"index 9 1 2 3\n", "index 9 1 2 3 x\n", "index 9 1 -2 3 4\n", "index -9 1 2 3 4\n",
                           "index 9 1 2 3 4", "table A fits 1 2 3 4 5\n", "table A fits 1 -2 3 4 5 6 \n",
                           "table A fits 4294967296 2 3 4 5 6 \n", "table\n", "other 1 2 3 4\n", "\n"}) {
    EXPECT_FALSE(ParseStamp(with_body(body))) << body;
  }
  std::string version = text;
  version[kStampStatePlace - 2] = '0';
  EXPECT_FALSE(ParseStamp(version));
}

// Two stamps in turn: what was found of one that was being written does not count.
TEST(IndexStamp, OfTwoInAFileTheNewerWholeOneCounts) {
  const auto file = [](const IndexStamp& a, const IndexStamp& b) {
    std::string bytes(2 * kStampPlaceBytes, '\0');
    for (const IndexStamp* stamp : {&a, &b}) {
      const std::string text = BuildStamp(*stamp);
      bytes.replace(static_cast<size_t>(StampPlace(stamp->turn)), text.size(), text);
    }
    return bytes;
  };
  for (const uint64_t turn : {1u, 2u, 7u, 8u}) {
    IndexStamp older = Sample(), newer = Sample();
    older.turn = turn;
    newer.turn = turn + 1;
    newer.tables.pop_back();
    ASSERT_NE(StampPlace(turn), StampPlace(turn + 1));
    std::string bytes = file(older, newer);
    ASSERT_TRUE(ParseStampFile(bytes));
    ExpectSame(*ParseStampFile(bytes), newer);
    bytes[static_cast<size_t>(StampPlace(turn + 1)) + 50] ^= 1;
    ASSERT_TRUE(ParseStampFile(bytes));
    ExpectSame(*ParseStampFile(bytes), older);
    bytes[static_cast<size_t>(StampPlace(turn)) + 50] ^= 1;
    EXPECT_FALSE(ParseStampFile(bytes));
  }
}

TEST(IndexStamp, AFileOfOneIsReadWhateverStandsBehindIt) {
  const std::string text = BuildStamp(Sample());
  ASSERT_EQ(StampPlace(Sample().turn), 0);
  EXPECT_FALSE(ParseStampFile(""));
  EXPECT_TRUE(ParseStampFile(text));
  EXPECT_TRUE(ParseStampFile(text + '\0' + "the end of a longer one"));
  EXPECT_FALSE(ParseStampFile(text + "more"));
  EXPECT_TRUE(ParseStampFile(text + std::string(10 * kStampPlaceBytes, '\0')));
  EXPECT_TRUE(ParseStampFile(std::string(kStampPlaceBytes, '\0') + text));
  EXPECT_FALSE(ParseStampFile(std::string(2 * kStampPlaceBytes, '\0') + text));
  EXPECT_FALSE(ParseStampFile(std::string(kStampPlaceBytes, '\0')));
}

TEST(IndexStamp, TheCheckSumIsFnv1a) {
  EXPECT_EQ(CheckSum(""), 0xCBF29CE484222325u);
  EXPECT_EQ(CheckSum("a"), 0xAF63DC4C8601EC8Cu);
  EXPECT_EQ(CheckSum("foobar"), 0x85944171F73967E8u);
}

}  // namespace
}  // namespace vantry
