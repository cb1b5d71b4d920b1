#include "core/page_grid.h"

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/tables.h"

namespace vantry {
namespace {

// The page counts of the visitor's rows, oldest first.
std::vector<int> Of(const PageRows& rows, const VisitorRec& v) {
  std::vector<int> counts;
  for (const PageRow* row = rows.At(v.LastPageRow); row; row = rows.At(row->previous)) counts.push_back(row->no);
  std::reverse(counts.begin(), counts.end());
  return counts;
}

TEST(PageRows, AddRow_HoldsPageWithQuery) {
  PageRows rows;
  VisitorRec v;
  rows.AddRow(v, 3, "/a.asp", "?b=1", 3'661);
  ASSERT_EQ(rows.RowCount(), 1u);
  const PageRow& row = *rows.At(v.LastPageRow);
  EXPECT_EQ(row.page, "/a.asp?b=1");
  EXPECT_EQ(row.no, 3);
  EXPECT_EQ(row.second_of_day, 3'661);
  EXPECT_EQ(row.previous, PageRows::kNoRow);
}

TEST(PageRows, AddRow_ChainsTheRowsOfEachVisitor) {
  PageRows rows;
  VisitorRec a, b;
  for (int16_t i = 1; i <= 5; ++i) {
    rows.AddRow(a, i, "/a", "", 0);
    rows.AddRow(b, static_cast<int16_t>(10 * i), "/b", "", 0);
  }
  EXPECT_EQ(Of(rows, a), (std::vector{1, 2, 3, 4, 5}));
  EXPECT_EQ(Of(rows, b), (std::vector{10, 20, 30, 40, 50}));
  EXPECT_EQ(Of(rows, VisitorRec{}), std::vector<int>{});
}

TEST(PageRows, AddRow_BeyondTheCapDropsTheOldest) {
  PageRows rows;
  VisitorRec early, a, b;
  rows.AddRow(early, 1, "/early", "", 0);
  rows.AddRow(a, 1, "/a", "", 0);
  for (size_t i = 2; i < PageRows::kMaxRows; ++i) rows.AddRow(b, 1, "/p", "", 0);
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxRows);
  EXPECT_EQ(Of(rows, early), std::vector{1});
  rows.AddRow(a, 2, "/new", "", 0);
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxRows);
  EXPECT_EQ(Of(rows, early), std::vector<int>{});
  EXPECT_EQ(Of(rows, a), (std::vector{1, 2}));
  rows.AddRow(b, 2, "/new", "", 0);
  EXPECT_EQ(Of(rows, a), std::vector{2}) << "the chain ends at rows that are gone";
}

TEST(PageRows, AddRow_BeyondTheBytesOfTextDropsTheOldest) {
  PageRows rows;
  VisitorRec a;
  const std::string page(1 << 20, 'p');
  for (int i = 0; i < 40; ++i) rows.AddRow(a, 1, page, "", 0);
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxTextBytes >> 20);
  rows.Clear();
  for (int i = 0; i < 10; ++i) rows.AddRow(a, 1, page, "", 0);
  EXPECT_EQ(rows.RowCount(), 10u);
}

TEST(PageRows, Clear_LeavesNobodyARow) {
  PageRows rows;
  VisitorRec a, b;
  rows.AddRow(b, 1, "/b", "", 0);
  rows.AddRow(a, 1, "/a", "", 0);
  rows.Clear();
  EXPECT_EQ(rows.RowCount(), 0u);
  EXPECT_EQ(Of(rows, b), std::vector<int>{});
  for (int16_t i = 1; i <= 5; ++i) rows.AddRow(a, i, "/a", "", 0);
  EXPECT_EQ(Of(rows, b), std::vector<int>{}) << "none of the new rows are its own";
  rows.AddRow(b, 3, "/b", "", 0);
  EXPECT_EQ(Of(rows, b), std::vector{3});
}

TEST(PageRows, RandomOperations_MatchAPlainModel) {
  PageRows rows;
  std::array<VisitorRec, 12> visitors;
  std::array<std::vector<int>, 12> model;
  std::mt19937 random(11);
  for (int i = 0; i < 20'000; ++i) {
    const size_t n = random() % visitors.size();
    const uint32_t kind = random() % 1'000;
    if (kind < 970) {
      rows.AddRow(visitors[n], static_cast<int16_t>(i), "/p", "", 0);
      model[n].push_back(static_cast<int16_t>(i));
    } else if (kind < 999) {
      visitors[n] = VisitorRec{};
      model[n].clear();
    } else {
      rows.Clear();
      model.fill({});
    }
    ASSERT_EQ(Of(rows, visitors[n]), model[n]);
  }
}

TEST(TraceRows, AddRow_HoldsTheLineAsItIs) {
  TraceRows trace;
  trace.AddRow("Shop", 17, "a\tb\t\tc");
  ASSERT_EQ(trace.RowCount(), 1u);
  EXPECT_EQ(trace.Row(0).site, "Shop");
  EXPECT_EQ(trace.Row(0).position, 17);
  EXPECT_EQ(trace.Row(0).text, "a\tb\t\tc");
}

TEST(TraceRows, AddRow_BeyondTheCapPushesOutTheOldest) {
  TraceRows trace;
  for (size_t i = 1; i <= TraceRows::kMaxRows; ++i) trace.AddRow("s", static_cast<int64_t>(i), "x");
  EXPECT_EQ(trace.RowCount(), 5'000u);
  EXPECT_EQ(trace.Row(0).position, 1);
  trace.AddRow("s", 5'001, "x");
  EXPECT_EQ(trace.RowCount(), 5'000u);
  EXPECT_EQ(trace.Row(0).position, 2);
  EXPECT_EQ(trace.Row(4'999).position, 5'001);
  for (int64_t i = 5'002; i <= 12'345; ++i) trace.AddRow("s", i, "x");
  for (size_t i = 0; i < trace.RowCount(); ++i) ASSERT_EQ(trace.Row(i).position, static_cast<int64_t>(7'346 + i));
}

TEST(TraceRows, LockedTrace_KeepsTakingRows) {
  TraceRows trace;
  trace.locked = true;
  trace.AddRow("s", 1, "x");
  EXPECT_EQ(trace.RowCount(), 1u);
  EXPECT_TRUE(trace.locked);
}

TEST(TraceRows, LongText_IsCut) {
  TraceRows trace;
  trace.AddRow("s", 1, std::string(1'000'000, 'x'));
  EXPECT_EQ(trace.Row(0).text.size(), TraceRows::kMaxText);
}

TEST(PageRows, At_FindsRowsByNumberUntilTheyAreGone) {
  PageRows rows;
  VisitorRec a, b;
  rows.AddRow(a, 1, "/a", "", 0);
  rows.AddRow(b, 1, "/b", "", 0);
  const uint64_t of_a = a.LastPageRow, of_b = b.LastPageRow;
  ASSERT_NE(rows.At(of_a), nullptr);
  EXPECT_EQ(rows.At(of_a)->page, "/a");
  EXPECT_EQ(rows.At(PageRows::kNoRow), nullptr);
  EXPECT_EQ(rows.At(of_b + 1), nullptr);
  rows.Clear();
  EXPECT_EQ(rows.At(of_a), nullptr);
  EXPECT_EQ(rows.At(of_b), nullptr);
}

}  // namespace
}  // namespace vantry
