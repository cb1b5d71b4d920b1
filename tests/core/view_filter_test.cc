#include <string>

#include <gtest/gtest.h>

#include "core/visitor_rows.h"

namespace vantry {
namespace {

// Rows of two sites in all four lists, shown as their site; alerts and exceptions add their number.
struct FourGrids {
  LiveTables t;

  FourGrids() {
    t.Sites.resize(2);
    t.Site(1).Name = "Shop";
    t.Site(2).Name = "News";
    for (int16_t site = 0; site <= 2; ++site) {
      if (site > 0) {
        t.Visitors.At(t.Visitors.Add(site, "a"))->Site = site;
        SpiderRow spider;
        spider.site = site;
        t.spiderGrid.Add(spider);
        for (const int16_t alert_no : {1, 2}) {
          AlertRow alert;
          alert.site = site;
          alert.alert_no = alert_no;
          t.logGrid.Add(alert);
        }
      }
      for (const int16_t number : {130, 404}) t.exGrid.Add({{{}, site}, number, 1, ""});
    }
  }
  void Apply() {
    HideRowsOutsideView(t, [](int16_t place) { return place == 2 ? 404 : 130; });
  }
  static std::string Name(const SpiderRow& row) { return std::to_string(row.site); }
  static std::string Name(const AlertRow& row) { return std::to_string(row.site) + ":" + std::to_string(row.alert_no); }
  static std::string Name(const ExceptionRow& row) {
    return std::to_string(row.site) + ":" + std::to_string(row.number);
  }
  template <class Row>
  static std::string Shown(const DayList<Row>& list) {
    std::string out;
    for (const Row& row : list) {
      if (!row.hidden) out += Name(row) + " ";
    }
    return out;
  }
  static std::string Shown(const VisitorTable& visitors) {
    std::string out;
    visitors.ForEach([&](int32_t, const VisitorRec& v) {
      if (!v.Hidden) out += std::to_string(v.Site) + " ";
    });
    return out;
  }
};

TEST(ViewFilter, AllSites_ShowsEverything) {
  FourGrids b;
  b.t.Site(1).AlertView = 2;
  b.t.Site(1).ExceptionView = 2;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.Visitors), "1 2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.logGrid), "1:1 1:2 2:1 2:2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.spiderGrid), "1 2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.exGrid), "0:130 0:404 1:130 1:404 2:130 2:404 ");
}

TEST(ViewFilter, OneSite_ShowsItsRowsAndExceptionsOfNoSite) {
  FourGrids b;
  b.t.CurrentView = 2;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.Visitors), "2 ");
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
  EXPECT_EQ(FourGrids::Shown(b.t.Visitors), "1 ");
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
  b.t.CurrentView = 1;
  b.Apply();
  EXPECT_EQ(FourGrids::Shown(b.t.Visitors), "1 2 ");
  EXPECT_EQ(FourGrids::Shown(b.t.spiderGrid), "1 ");
}

}  // namespace
}  // namespace vantry
