#include "database/first_rows.h"

#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(FirstRows, KnowWhatTheyWereTold) {
  FirstRows rows;
  EXPECT_EQ(rows.Find("10.0.0.1"), 0u);
  rows.Forget("10.0.0.1 site");
  rows.Set("10.0.0.1", 7);
  EXPECT_EQ(rows.Find("10.0.0.1"), 7u);
  EXPECT_EQ(rows.Find("10.0.0.2"), 0u);
  rows.Set("10.0", 9);
  EXPECT_EQ(rows.Find("10.0"), 0u) << "of another length";
  rows.Forget("10.0.0.2 site");
  rows.Forget("10.0");
  EXPECT_EQ(rows.Find("10.0.0.1"), 7u);
  rows.Forget("10.0.0.1 site");
  EXPECT_EQ(rows.Find("10.0.0.1"), 0u);
  rows.Set("10.0.0.1", 8);
  rows.Clear();
  EXPECT_EQ(rows.Find("10.0.0.1"), 0u);
}

// With more beginnings than slots, some are forgotten, and none has the row of before.
TEST(FirstRows, AreNeverThoseOfBefore) {
  FirstRows rows;
  std::map<std::string, uint32_t> model;
  std::mt19937 random(5);
  uint32_t known = 0;
  for (uint32_t row = 1; row <= 200'000; ++row) {
    const std::string beginning = std::to_string(100'000 + random() % 30'000);
    if (random() % 4 == 0) {
      rows.Forget(beginning + " site");
      model.erase(beginning);
    } else if (random() % 2 == 0) {
      rows.Set(beginning, row);
      model[beginning] = row;
    }
    const uint32_t found = rows.Find(beginning);
    const auto expected = model.find(beginning);
    ASSERT_TRUE(found == 0 || (expected != model.end() && found == expected->second)) << beginning;
    known += found != 0;
  }
  EXPECT_GT(known, 50'000u);
}

}  // namespace
}  // namespace vantry
