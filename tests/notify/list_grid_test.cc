// Reports of all lists, byte for byte. VANTRY_RENEW=1 rewrites the files; look at what changed before keeping it.
#include "notify/list_grid.h"

#include <string>

#include <gtest/gtest.h>

#include "core/view_summary.h"
#include "notify/grid_to_html.h"
#include "support/golden.h"
#include "support/sample_visitor.h"

namespace vantry {
namespace {

// Two sites with a row each in every list, and an exception of no site. What strangers can choose is markup.
struct ListGridTest : testing::Test {
  LiveTables t;
  const Regional regional;
  const ListTexts with{t, regional};
  const LogTime noon = MakeLogTime(*MakeDay(2004, 3, 9), 43'200);

  ListGridTest() {
    for (const char* name : {"Shop", "News"}) t.Sites.emplace_back().Name = name;
    for (int16_t site = 1; site <= 2; ++site) {
      AddVisitor(site);
      AddDayRows(site);
    }
    t.exGrid.Add({{noon, 0}, 180, 9, "No site at all"});
  }
  void AddVisitor(int16_t site) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, "10.0.0." + std::to_string(site)));
    FillSample(v);
    v.Query = "?q=<script>alert(1)</script>";
    if (site == 2) v.KnownName = t.Visitors.Shared("Ann & Bob");
    v.Hidden = !ShownSite(site);
  }
  bool ShownSite(int16_t site) const { return t.CurrentView == 0 || t.CurrentView == site; }
  template <class Row>
  Row DayRowOf(int16_t site) {
    Row row;
    row.when = noon;
    row.site = site;
    row.visit_no = 12;
    row.visit_count = 3;
    row.ip = "10.0.0.7";
    row.dns = site == 1 ? "host.example" : "10.0.0.7";
    row.page = "/a.asp";
    row.country = "NO";
    row.referrer = "http://from/?a=1&b=\"2\"";
    return row;
  }
  void AddDayRows(int16_t site) {
    auto alert = DayRowOf<AlertRow>(site);
    alert.alert_no = 2;
    if (site == 2) alert.seconds_on_site = 75;
    t.logGrid.Add(alert);
    auto spider = DayRowOf<SpiderRow>(site);
    spider.engine = "Search <Engine>";
    t.spiderGrid.Add(spider);
    t.exGrid.Add({{noon, site}, 404, 7, "gone: /<img src=x onerror=y>"});
  }
  void Show(int16_t site) {
    t.CurrentView = site;
    t.Visitors.ForEach([&](int32_t, VisitorRec& v) { v.Hidden = !ShownSite(v.Site); });
    for (AlertRow& row : t.logGrid) row.hidden = !ShownSite(row.site);
    for (SpiderRow& row : t.spiderGrid) row.hidden = !ShownSite(row.site);
    for (ExceptionRow& row : t.exGrid) row.hidden = row.site != 0 && !ShownSite(row.site);
  }
  std::string Html(const ReportGrid& grid) {
    std::string out;
    (void)WriteGridHTML(grid, {ViewName(t.CurrentViewType), "the caption"}, [&out](std::string_view bytes) {
      out += bytes;
      return Status::Ok();
    });
    return out;
  }
  void Check(int16_t type, const char* all, const char* one) {
    t.CurrentViewType = type;
    CheckGoldenFile(all, Html(*GridOfView(type, with)));
    Show(2);
    CheckGoldenFile(one, Html(*GridOfView(type, with)));
  }
};

TEST_F(ListGridTest, Visitors) {
  Check(kViewVisitors, "reports/visitors_all.htm", "reports/visitors_one_site.htm");
}

TEST_F(ListGridTest, Alerts) {
  Check(kViewAlerts, "reports/alerts_all.htm", "reports/alerts_one_site.htm");
}

TEST_F(ListGridTest, Spiders) {
  Check(kViewSpiders, "reports/spiders_all.htm", "reports/spiders_one_site.htm");
}

TEST_F(ListGridTest, Exceptions) {
  Check(kViewExceptions, "reports/exceptions_all.htm", "reports/exceptions_one_site.htm");
}

TEST_F(ListGridTest, PagesOfAVisitor) {
  VisitorRec& v = *t.Visitors.At(1);
  t.pageGrid.AddRow(v, 1, "/index.html", "?a<b", 3'600);
  t.pageGrid.AddRow(v, 2, "/next.html", "", 3'660);
  t.pageGrid.AddRow(*t.Visitors.At(2), 1, "/anothers.html", "", 3'700);
  const PageRow* second = t.pageGrid.At(v.LastPageRow);
  ASSERT_NE(second, nullptr);
  const std::vector<const PageRow*> rows{t.pageGrid.At(second->previous), second};
  CheckGoldenFile("reports/pages.htm", Html(ListGrid<PageRow>(page_grid::kList, with, rows)));
}

TEST_F(ListGridTest, ListsWithoutRowsAreTheirHeadings) {
  const LiveTables none;
  for (int type = kViewVisitors; type <= kViewExceptions; ++type) {
    EXPECT_EQ(GridOfView(type, {none, regional})->Rows(), 1);
  }
}

}  // namespace
}  // namespace vantry
