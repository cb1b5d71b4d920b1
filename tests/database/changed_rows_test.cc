#include "database/changed_rows.h"

#include <map>
#include <random>

#include <gtest/gtest.h>

namespace vantry {
namespace {

std::string Three(uint32_t n) {
  return std::to_string(100 + n % 900);
}

TEST(ChangedRows, HoldAndSortAsAMapDoes) {
  std::mt19937 random(5);
  ChangedRows rows;
  for (int round = 0; round < 3; ++round) {
    std::map<uint32_t, std::string> model;
    for (int i = 0; i < 3000; ++i) {
      const uint32_t number = 1 + random() % 2000 + (random() % 5 == 0 ? 0xFFFF'0000u : 0u);
      const std::string bytes = Three(random());
      rows.Set(number, bytes);
      model[number] = bytes;
      const uint32_t other = 1 + random() % 2000;
      const char* found = rows.Find(other);
      ASSERT_EQ(found != nullptr, model.contains(other));
      if (found) {
        ASSERT_EQ(std::string(found, 3), model[other]);
      }
    }
    const auto sorted = rows.Sorted();
    ASSERT_EQ(sorted.size(), model.size());
    auto expected = model.begin();
    for (const ChangedRows::Row& row : sorted) {
      ASSERT_EQ(row.number, expected->first);
      ASSERT_EQ(row.bytes, expected->second);
      ++expected;
    }
    rows.Clear();
    EXPECT_EQ(rows.Count(), 0u);
    EXPECT_EQ(rows.Find(1), nullptr);
  }
}

TEST(ChangedRows, KeepDropsTheOthers) {
  ChangedRows rows;
  for (uint32_t i = 1; i <= 200; ++i) rows.Set(i, Three(i));
  const auto sorted = rows.Sorted();
  rows.Keep(sorted.data() + 150, sorted.data() + 200);
  EXPECT_EQ(rows.Count(), 50u);
  EXPECT_EQ(rows.Find(150), nullptr);
  ASSERT_NE(rows.Find(151), nullptr);
  EXPECT_EQ(std::string(rows.Find(200), 3), Three(200));
}

}  // namespace
}  // namespace vantry
