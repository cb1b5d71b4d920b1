// Changed rows on their way: the file is whole or it is none.
#include "database/redo_file.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

std::vector<RedoRow> RedoSample() {
  static const std::string long_row(300, '\xFF');
  return {{"Visits", 1, {" a row\0with a NUL", 17}}, {"Visitor", 4'294'967'280, long_row}, {"", 0, ""}};
}

void ExpectSame(const std::optional<std::vector<RedoRow>>& found, const std::vector<RedoRow>& wanted) {
  ASSERT_TRUE(found);
  ASSERT_EQ(found->size(), wanted.size());
  for (size_t i = 0; i < wanted.size(); ++i) {
    EXPECT_EQ((*found)[i].table, wanted[i].table);
    EXPECT_EQ((*found)[i].number, wanted[i].number);
    EXPECT_EQ((*found)[i].bytes, wanted[i].bytes);
  }
}

TEST(RedoFile, IsReadAsItWasWritten) {
  ExpectSame(ParseRedo(BuildRedo(RedoSample())), RedoSample());
  ExpectSame(ParseRedo(BuildRedo({})), {});
}

// A shorter file is written over a longer one.
TEST(RedoFile, WhatStandsBehindIsLeftAlone) {
  ExpectSame(ParseRedo(BuildRedo(RedoSample()) + "left over"), RedoSample());
  ExpectSame(ParseRedo(BuildRedo({}) + BuildRedo(RedoSample())), {});
}

TEST(RedoFile, IsRefusedWhenItWasCut) {
  const std::string bytes = BuildRedo(RedoSample());
  for (size_t count = 0; count < bytes.size(); ++count) EXPECT_FALSE(ParseRedo(bytes.substr(0, count))) << count;
}

TEST(RedoFile, IsRefusedWhenAnyByteIsAnother) {
  const std::string bytes = BuildRedo(RedoSample());
  for (size_t at = 0; at < bytes.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string other = bytes;
      other[at] = static_cast<char>(other[at] ^ (1 << bit));
      EXPECT_FALSE(ParseRedo(other)) << at << "." << bit;
    }
  }
}

// One written over another with each sector of the disk from either: only the two themselves are read.
TEST(RedoFile, AMixtureOfTwoIsRefused) {
  std::vector<RedoRow> rows = RedoSample();
  const std::string old = BuildRedo(rows);
  std::string changed(rows[1].bytes);
  changed[150] = 'x';
  rows[1].bytes = changed;
  rows[0].number = 2;
  const std::string now = BuildRedo(rows);
  ASSERT_EQ(old.size(), now.size());
  for (size_t sector = 1; sector < old.size(); ++sector) {
    const std::string mixed = now.substr(0, sector) + old.substr(sector);
    if (mixed == now || mixed == old) continue;
    EXPECT_FALSE(ParseRedo(mixed)) << sector;
    const std::string other = old.substr(0, sector) + now.substr(sector);
    if (other == now || other == old) continue;
    EXPECT_FALSE(ParseRedo(other)) << sector;
  }
}

}  // namespace
}  // namespace vantry
