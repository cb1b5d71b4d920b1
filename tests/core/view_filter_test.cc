#include <string>

#include <gtest/gtest.h>

#include "core/visitor_rows.h"

namespace vantry {
namespace {

// Rows of two sites in all four grids. The key of a row is its site; alert and exception rows add their number.
struct FourGrids {
  LiveTables t;

  FourGrids() {
    t.Sites.resize(2);
    t.Site(1).Name = "Shop";
    t.Site(2).Name = "News";
    for (int16_t site = 0; site <= 2; ++site) {
      if (site > 0) {
        GridRow& row = Add(t.VsGrid, site, "");
        row.SetText(vs_grid::kSite, t.Site(site).Name);
        Add(t.spiderGrid, site, "");
        for (const char* alert : {"1", "2"}) Add(t.logGrid, site, alert).SetText(log_grid::kAlert, alert);
      }
      for (const int16_t number : {130, 404}) t.exGrid.Add({{{}, site}, number, 1, ""});
    }
  }
  static GridRow& Add(Grid& grid, int16_t site, const std::string& behind) {
    GridRow& row = grid.AddRow(std::to_string(site) + (behind.empty() ? "" : ":" + behind));
    row.site = site;
    return row;
  }
  void Apply() {
    HideRowsOutsideView(t, [](int16_t place) { return place == 2 ? 404 : 130; });
  }
  static std::string Shown(const Grid& grid) {
    std::string out;
    grid.ForEach([&](const GridRow& row) {
      if (!row.hidden) out += row.Key() + " ";
    });
    return out;
  }
  static std::string Shown(const DayList<ExceptionRow>& list) {
    std::string out;
    for (const ExceptionRow& row : list) {
      if (!row.hidden) out += std::to_string(row.site) + ":" + std::to_string(row.number) + " ";
    }
    return out;
  }
};

TEST(ViewFilter, AllSites_ShowsEverything) {
  FourGrids b;
  b.t.Site(1).AlertView = 2;
  b.t.Site(1).ExceptionView = 2;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.VsGrid), "1 2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.logGrid), "1:1 1:2 2:1 2:2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.spiderGrid), "1 2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.exGrid), "0:130 0:404 1:130 1:404 2:130 2:404 ");
}

TEST(ViewFilter, OneSite_ShowsItsRowsAndExceptionsOfNoSite) {
  FourGrids b;
  b.t.CurrentView = 2;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.VsGrid), "2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.logGrid), "2:1 2:2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.spiderGrid), "2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.exGrid), "0:130 0:404 2:130 2:404 ");
}

TEST(ViewFilter, OneAlertAndOneExceptionType_NarrowTheSiteAlone) {
  FourGrids b;
  b.t.CurrentView = 1;
  b.t.Site(1).AlertView = 2;
  b.t.Site(1).ExceptionView = 2;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.logGrid), "1:2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.exGrid), "0:130 0:404 1:404 ");
  EXPECT_EQ(FourGrids::Shown(b.t.VsGrid), "1 ");
}

TEST(ViewFilter, EachSite_KeepsItsOwnFilter) {
  FourGrids b;
  b.t.Site(1).AlertView = 1;
  b.t.Site(2).AlertView = 2;
  b.t.CurrentView = 1;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.logGrid), "1:1 ");
  b.t.CurrentView = 2;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.logGrid), "2:2 ");
  b.t.CurrentView = 0;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.logGrid), "1:1 1:2 2:1 2:2 ");
}

TEST(ViewFilter, VisitorsOfTwoSitesWithOneName_ShowTogether) {
  FourGrids b;
  b.t.Site(2).Name = "Shop";
  b.t.VsGrid.FindRow("2")->SetText(vs_grid::kSite, "Shop");
  b.t.CurrentView = 1;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.VsGrid), "1 2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.spiderGrid), "1 ");
}

}  // namespace
}  // namespace vantry
