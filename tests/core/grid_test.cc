#include "core/grid.h"

#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "core/page_grid.h"

namespace vantry {
namespace {

// Titles with the mark of their alignment in front, as one line.
std::string HeaderOf(std::span<const GridColumn> columns) {
  std::string out;
  for (const GridColumn& c : columns) {
    if (!out.empty()) out += "|";
    out += c.align == Align::kRight ? ">" : c.align == Align::kCentre ? "^" : "";
    out += c.title;
  }
  return out;
}

TEST(Grid, Headers_StandAsReadersKnowThem) {
  EXPECT_EQ(HeaderOf(vs_grid::kColumns),
            "Site|^ Key|>No|>Visit|DNS|On Page|^Start Time|^Last Time|Browser|Loc|Referrer");
  EXPECT_EQ(HeaderOf(log_grid::kColumns), "SN|Site|>No|>Alert|>Visit|DNS|^Date/Time|Page|>Mins On Site|Loc|Referrer");
  EXPECT_EQ(HeaderOf(spider_grid::kColumns),
            "SN|Site|>No|>Visit| Spider DNS|Search Engine|^Date/Time|Page|Loc|Referrer");
  EXPECT_EQ(HeaderOf(page_grid::kColumns), ">No|Page|^Time");
}

TEST(Grid, NewRow_IsEmptyAndShown) {
  Grid grid(spider_grid::kColumns);
  const GridRow& row = grid.AddRow("1:a");
  EXPECT_EQ(row.Key(), "1:a");
  EXPECT_FALSE(row.hidden);
  for (size_t c = 0; c < spider_grid::kCount; ++c) {
    EXPECT_EQ(row.Text(c), "");
    EXPECT_EQ(row.IconOf(c), kIconNone);
    EXPECT_EQ(row.ColourOf(c), kColourDefault);
  }
}

TEST(Grid, FindRow_WithATextTakesTheFirstRowThatShowsIt) {
  Grid grid(spider_grid::kColumns);
  grid.AddRow("1:a").SetText(2, "other");
  grid.AddRow("1:b").SetText(2, "text");
  GridRow& in_another_column = grid.AddRow("1:a");
  in_another_column.SetText(3, "text");
  GridRow& first = grid.AddRow("1:a");
  GridRow& second = grid.AddRow("1:a");
  for (GridRow* row : {&second, &first}) row->SetText(2, "text");
  EXPECT_EQ(grid.FindRow("1:a", 2, "text"), &first);
  EXPECT_LT(first.Arrival(), second.Arrival());
  grid.DeleteRow(first);
  EXPECT_EQ(grid.FindRow("1:a", 2, "text"), &second);
  EXPECT_EQ(grid.FindRow("1:a", 2, "none"), nullptr);
  EXPECT_EQ(grid.FindRow("1:c", 2, "text"), nullptr);
}

TEST(Grid, Marks_AreKeptPerColumn) {
  Grid grid(spider_grid::kColumns);
  GridRow& row = grid.AddRow("");
  row.SetIcon(1, kIconSuspect);
  row.SetColour(1, kColourAlarm);
  row.SetColour(3, 5);
  EXPECT_EQ(row.IconOf(1), kIconSuspect);
  EXPECT_EQ(row.ColourOf(1), kColourAlarm);
  EXPECT_EQ(row.IconOf(3), kIconNone);
  EXPECT_EQ(row.ColourOf(3), 5u);
  row.SetIcon(1, kIconNone);
  EXPECT_EQ(row.IconOf(1), kIconNone);
  EXPECT_EQ(row.ColourOf(1), kColourAlarm);
}

TEST(Grid, FindRow_TakesTheFirstToArrive) {
  Grid grid(spider_grid::kColumns);
  GridRow& first = grid.AddRow("k");
  GridRow& second = grid.AddRow("k");
  EXPECT_EQ(grid.FindRow("k"), &first);
  grid.DeleteRow(first);
  EXPECT_EQ(grid.FindRow("k"), &second);
  grid.DeleteRow(second);
  EXPECT_EQ(grid.FindRow("k"), nullptr);
  EXPECT_EQ(grid.RowCount(), 0u);
}

TEST(Grid, ForEach_MayDeleteTheRowItWasGiven) {
  Grid grid(spider_grid::kColumns);
  for (int i = 0; i < 100; ++i) grid.AddRow(std::to_string(i % 2));
  grid.ForEach([&](GridRow& row) {
    if (row.Key() == "1") grid.DeleteRow(row);
  });
  EXPECT_EQ(grid.RowCount(), 50u);
  EXPECT_EQ(grid.FindRow("1"), nullptr);
}

TEST(Grid, Clear_LeavesAGridThatTakesRows) {
  Grid grid(spider_grid::kColumns);
  grid.AddRow("a");
  grid.Clear();
  EXPECT_EQ(grid.RowCount(), 0u);
  EXPECT_EQ(grid.FindRow("a"), nullptr);
  GridRow& row = grid.AddRow("a");
  EXPECT_EQ(grid.FindRow("a"), &row);
}

// A row's own number stands in its first cell.
void CheckOrder(Grid& grid, const std::map<int, std::string>& model) {
  ASSERT_EQ(grid.RowCount(), model.size());
  auto it = model.begin();
  static_cast<const Grid&>(grid).ForEach([&](const GridRow& row) {
    ASSERT_NE(it, model.end());
    ASSERT_EQ(row.Text(0), std::to_string(it->first));
    ASSERT_EQ(row.Key(), it->second);
    ++it;
  });
  ASSERT_EQ(it, model.end());
}

TEST(Grid, RandomOperations_MatchAPlainModel) {
  Grid grid(spider_grid::kColumns);
  std::map<int, std::string> model;  // By order of arrival.
  std::mt19937 random(3);
  for (int i = 0; i < 20'000; ++i) {
    const std::string key = std::to_string(random() % 150);
    GridRow* found = grid.FindRow(key);
    auto first = model.begin();
    while (first != model.end() && first->second != key) ++first;
    ASSERT_EQ(found != nullptr, first != model.end());
    if (found) {
      ASSERT_EQ(found->Text(0), std::to_string(first->first));
    }
    // More come than go, then more go than come, so that gaps arise and are closed.
    if (random() % 100 < (i / 2'500 % 2 == 0 ? 60u : 35u)) {
      grid.AddRow(key).SetText(0, std::to_string(i));
      model[i] = key;
    } else if (found) {
      grid.DeleteRow(*found);
      model.erase(first);
    }
    if (i % 500 == 0) {
      ASSERT_NO_FATAL_FAILURE(CheckOrder(grid, model));
    }
  }
  ASSERT_NO_FATAL_FAILURE(CheckOrder(grid, model));
}

}  // namespace
}  // namespace vantry
