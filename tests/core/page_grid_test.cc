#include "core/page_grid.h"

#include <array>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/tables.h"

namespace vantry {
namespace {

TEST(PageRows, AddRow_HoldsPageWithQuery) {
  PageRows rows;
  VisitorRec v;
  rows.AddRow(v, 3, "/a.asp", "?b=1", 3'661);
  int seen = 0;
  rows.ForEach([&](PageRow& row) {
    ++seen;
    EXPECT_EQ(row.page, "/a.asp?b=1");
    EXPECT_EQ(row.no, 3);
    EXPECT_EQ(row.second_of_day, 3'661);
    EXPECT_EQ(row.visitor, &v);
  });
  EXPECT_EQ(seen, 1);
}

TEST(PageRows, DeleteRows_TakesTheChainOfOneVisitorAlone) {
  PageRows rows;
  VisitorRec a, b;
  for (int16_t i = 1; i <= 5; ++i) {
    rows.AddRow(a, i, "/a", "", 0);
    rows.AddRow(b, i, "/b", "", 0);
  }
  rows.DeleteRows(a);
  EXPECT_EQ(rows.RowCount(), 5u);
  EXPECT_EQ(a.LastPageRow, PageRows::kNoRow);
  int16_t no = 0;
  rows.ForEach([&](PageRow& row) {
    EXPECT_EQ(row.visitor, &b);
    EXPECT_EQ(row.no, ++no);
  });
  rows.DeleteRows(a);
  EXPECT_EQ(rows.RowCount(), 5u);
  rows.DeleteRows(b);
  EXPECT_EQ(rows.RowCount(), 0u);
}

TEST(PageRows, AddRow_BeyondTheCapDropsTheOldest) {
  PageRows rows;
  VisitorRec early, a, b;
  rows.AddRow(early, 1, "/early", "", 0);
  for (size_t i = 1; i < PageRows::kMaxRows; ++i) rows.AddRow(i % 2 ? a : b, 1, "/p", "", static_cast<int32_t>(i % 60));
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxRows);
  rows.AddRow(a, 2, "/new", "", 0);
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxRows);
  rows.ForEach([&](PageRow& row) { ASSERT_NE(row.visitor, &early); });
  rows.DeleteRows(early);
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxRows);
  for (int i = 0; i < 10; ++i) rows.AddRow(b, 2, "/new", "", 0);
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxRows);
  // The chain of `a` reaches back to rows that are gone.
  rows.DeleteRows(a);
  rows.ForEach([&](PageRow& row) { ASSERT_EQ(row.visitor, &b); });
  rows.DeleteRows(b);
  EXPECT_EQ(rows.RowCount(), 0u);
}

TEST(PageRows, AddRow_BeyondTheBytesOfTextDropsTheOldest) {
  PageRows rows;
  VisitorRec a;
  const std::string page(1 << 20, 'p');
  for (int i = 0; i < 40; ++i) rows.AddRow(a, 1, page, "", 0);
  EXPECT_EQ(rows.RowCount(), PageRows::kMaxTextBytes >> 20);
  rows.DeleteRows(a);
  EXPECT_EQ(rows.RowCount(), 0u);
  for (int i = 0; i < 10; ++i) rows.AddRow(a, 1, page, "", 0);
  EXPECT_EQ(rows.RowCount(), 10u);
}

TEST(PageRows, Clear_ForgetsDeletedRowsAndOldChains) {
  PageRows rows;
  VisitorRec a, b;
  rows.AddRow(b, 1, "/b", "", 0);
  rows.AddRow(a, 1, "/a", "", 0);
  rows.AddRow(b, 2, "/b", "", 0);
  rows.DeleteRows(a);
  rows.Clear();
  EXPECT_EQ(rows.RowCount(), 0u);
  VisitorRec c;
  for (int16_t i = 1; i <= 5; ++i) rows.AddRow(c, i, "/c", "", 0);
  // `b` was there before the list was cleared: none of the new rows are its own.
  rows.DeleteRows(b);
  EXPECT_EQ(rows.RowCount(), 5u);
  rows.AddRow(b, 3, "/b", "", 0);
  rows.DeleteRows(b);
  EXPECT_EQ(rows.RowCount(), 5u);
}

TEST(PageRows, RandomOperations_MatchAPlainModel) {
  PageRows rows;
  std::array<VisitorRec, 12> visitors;
  std::vector<std::pair<VisitorRec*, int16_t>> model;
  std::mt19937 random(11);
  for (int i = 0; i < 20'000; ++i) {
    VisitorRec& v = visitors[random() % visitors.size()];
    const uint32_t kind = random() % 1'000;
    if (kind < 970) {
      rows.AddRow(v, static_cast<int16_t>(i % 30'000), "/p", "", 0);
      model.emplace_back(&v, static_cast<int16_t>(i % 30'000));
    } else if (kind < 999) {
      rows.DeleteRows(v);
      std::erase_if(model, [&](const auto& row) { return row.first == &v; });
    } else {
      rows.Clear();
      model.clear();
    }
    ASSERT_EQ(rows.RowCount(), model.size());
    if (i % 200 != 0) continue;
    size_t at = 0;
    rows.ForEach([&](PageRow& row) {
      ASSERT_LT(at, model.size());
      ASSERT_EQ(std::pair(row.visitor, row.no), model[at++]);
    });
    ASSERT_EQ(at, model.size());
  }
}

TEST(TraceRows, AddRow_TurnsTabsIntoBlanks) {
  TraceRows trace;
  trace.AddRow("Shop", 17, "a\tb\t\tc");
  ASSERT_EQ(trace.RowCount(), 1u);
  EXPECT_EQ(trace.Row(0).site, "Shop");
  EXPECT_EQ(trace.Row(0).position, 17);
  EXPECT_EQ(trace.Row(0).text, "a b  c");
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
  rows.DeleteRows(b);
  EXPECT_EQ(rows.At(of_b), nullptr) << "deleted, though its place is still there";
  rows.Clear();
  EXPECT_EQ(rows.At(of_a), nullptr);
}

}  // namespace
}  // namespace vantry
