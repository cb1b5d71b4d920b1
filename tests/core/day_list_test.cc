#include "core/day_list.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

using Exceptions = DayList<ExceptionRow>;

ExceptionRow Exception(int32_t no, std::string details = "x") {
  return {{LogTime{no}, 1}, 404, no, std::move(details)};
}

TEST(DayList, Add_BeyondTheRowsDropsTheOldest) {
  Exceptions list;
  const auto all = static_cast<int32_t>(Exceptions::kMaxRows);
  for (int32_t no = 1; no <= all; ++no) list.Add(Exception(no));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxRows);
  EXPECT_EQ(list.Dropped(), 0u);
  EXPECT_EQ(list.begin()->no, 1);
  for (int32_t no = all + 1; no <= all + 3; ++no) list.Add(Exception(no));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxRows);
  EXPECT_EQ(list.Dropped(), 3u);
  int32_t next = 4;
  for (const ExceptionRow& row : list) ASSERT_EQ(row.no, next++);
  EXPECT_EQ(next, all + 4);
}

TEST(DayList, Add_BeyondTheBytesOfTextDropsTheOldest) {
  Exceptions list;
  const std::string text(1 << 20, 'x');
  for (int32_t no = 1; no <= 40; ++no) list.Add(Exception(no, text));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxTextBytes >> 20);
  EXPECT_EQ(list.Dropped(), 40 - (Exceptions::kMaxTextBytes >> 20));
  EXPECT_EQ(list.begin()->no, 25);
  // A row's text may change later; what it came with is what leaves with it.
  for (ExceptionRow& row : list) row.details.clear();
  for (int32_t no = 41; no <= 80; ++no) list.Add(Exception(no, text));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxTextBytes >> 20);
  EXPECT_EQ(list.begin()->no, 65);
}

TEST(DayList, At_FindsARowByItsNumberUntilItIsGone) {
  Exceptions list;
  const uint64_t first = list.Add(Exception(1));
  const uint64_t second = list.Add(Exception(2));
  ASSERT_NE(list.At(second), nullptr);
  EXPECT_EQ(list.At(first)->no, 1);
  EXPECT_EQ(list.At(second)->no, 2);
  EXPECT_EQ(list.At(second + 1), nullptr);
  for (size_t i = 1; i < Exceptions::kMaxRows; ++i) list.Add(Exception(3));
  EXPECT_EQ(list.At(first), nullptr);
  EXPECT_EQ(list.At(second)->no, 2);
}

TEST(DayList, Clear_ForgetsRowsAndCountsButNeverANumber) {
  Exceptions list;
  for (size_t i = 0; i <= Exceptions::kMaxRows; ++i) list.Add(Exception(1));
  const uint64_t last = list.Add(Exception(1));
  list.Clear();
  EXPECT_EQ(list.RowCount(), 0u);
  EXPECT_EQ(list.Dropped(), 0u);
  EXPECT_EQ(list.At(last), nullptr);
  EXPECT_GT(list.Add(Exception(2)), last);
  EXPECT_EQ(list.At(last), nullptr);
  EXPECT_EQ(list.begin()->no, 2);
}

}  // namespace
}  // namespace vantry
