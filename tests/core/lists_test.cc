#include "core/lists.h"

#include <string>

#include <gtest/gtest.h>

#include "core/tables.h"

namespace vantry {
namespace {

// Headings with the mark of their alignment in front, each as wide as its column, as one line.
template <class Row>
std::string HeaderOf(const ListDescription<Row>& list) {
  std::string out;
  for (const ListColumn<Row>& c : list.columns) {
    if (!out.empty()) out += "|";
    out += c.align == Align::kRight ? ">" : c.align == Align::kCentre ? "^" : "";
    out.append(c.heading).append(static_cast<size_t>(c.width) - c.heading.size(), ' ');
  }
  return out;
}

template <class Row>
std::string TextsOf(const ListDescription<Row>& list, const Row& row, const LiveTables& t) {
  const Regional regional;
  std::string out;
  for (size_t c = 0; c < list.columns.size(); ++c) out += (c > 0 ? "|" : "") + list.Text(row, c, {t, regional});
  return out;
}

struct ListsTest : testing::Test {
  LiveTables t;
  const LogTime noon = MakeLogTime(*MakeDay(2004, 3, 9), 43'200);
  ListsTest() {
    t.Sites.resize(2);
    t.Site(2).Name = "News";
  }
};

TEST_F(ListsTest, Exceptions) {
  EXPECT_EQ(HeaderOf(ex_grid::kList),
            "SN|Site                          |>No    |>Number|^Date/Time                         | Details");
  EXPECT_EQ(ex_grid::kList.site_column, ex_grid::kSite);
  EXPECT_EQ(TextsOf(ex_grid::kList, {{noon, 2}, 404, 7, "gone"}, t), "2|News|7|404|3/9/2004 12:00:00 PM|gone");
  EXPECT_EQ(TextsOf(ex_grid::kList, {{noon, 0}, 180, 9, "down"}, t), "0||9|180|3/9/2004 12:00:00 PM|down");
}

}  // namespace
}  // namespace vantry
