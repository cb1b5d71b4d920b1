#include "core/visitor_rows.h"

#include <string>

#include <gtest/gtest.h>

#include "core/lists.h"
#include "support/sample_visitor.h"

namespace vantry {
namespace {

struct VisitorRowsBench {
  LiveTables t;
  Regional regional;

  VisitorRowsBench() {
    t.Sites.resize(2);
    t.Site(1).Name = "Shop";
    t.Site(2).Name = "News";
  }
  VisitorRec& Visitor(int16_t site, const std::string& ip) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, ip));
    FillSample(v);
    return v;
  }
};

TEST(VisitorRows, AddToGrid_HidesRowsOfOtherSites) {
  struct Case {
    int16_t view, site;
    bool hidden;
  };
  for (const Case c : {Case{0, 1, false}, Case{1, 1, false}, Case{2, 1, true}}) {
    VisitorRowsBench b;
    b.t.CurrentView = c.view;
    VisitorRec& v = b.Visitor(c.site, "a");
    AddToGrid(b.t, v);
    AddSpider(b.t, v);
    EXPECT_EQ(v.Hidden, c.hidden) << c.view;
    EXPECT_EQ(b.t.spiderGrid.begin()->hidden, c.hidden) << c.view;
  }
}

TEST(VisitorRows, AddSpider_CountsAndFillsTheRow) {
  VisitorRowsBench b;
  VisitorRec& v = b.Visitor(2, "a");
  v.SpiderName = "Crawler";
  v.SpiderPending = true;
  AddSpider(b.t, v);
  EXPECT_FALSE(v.SpiderPending);
  EXPECT_EQ(b.t.TotalSpiderCount, 1);
  EXPECT_EQ(b.t.TodaySpiderCount, 1);
  EXPECT_EQ(b.t.Site(2).TotalSpiders, 1);
  EXPECT_EQ(b.t.Site(2).TodaySpiders, 1);
  EXPECT_EQ(b.t.Site(1).TodaySpiders, 0);
  const SpiderRow& row = *b.t.spiderGrid.begin();
  std::string texts;
  for (size_t c = 0; c < spider_grid::kCount; ++c) {
    texts += spider_grid::kList.Text(row, c, {b.t, b.regional}) + "|";
  }
  EXPECT_EQ(texts, "2|News|12|1|host.example|Crawler|3/9/2004 1:00:00 AM|/a.asp|NO|http://from/|");
  EXPECT_EQ(row.ip, "a");
}

TEST(VisitorRows, MinutesText_ReadsMinutesAndSeconds) {
  struct Case {
    int64_t seconds;
    const char* want;
  };
  for (const Case c : {Case{0, "0:00"}, Case{9, "0:09"}, Case{60, "0:60"}, Case{61, "1:01"}, Case{3'600, "60:00"}}) {
    EXPECT_EQ(MinutesText(c.seconds), c.want);
  }
}

TEST(VisitorRows, SiteNodeText_ShowsTheCountOrThePause) {
  SiteRec site;
  site.Name = "Shop";
  site.CurrentVisitors = 3;
  EXPECT_EQ(SiteNodeText(site), "Shop (3)");
  site.Paused = true;
  EXPECT_EQ(SiteNodeText(site), "Shop (Paused)");
}

TEST(VisitorTip, TellsWhoComesAgainAndWhatIsKnown) {
  VisitorRec v;
  v.VisitCount = 1;
  v.Pages = 3;
  v.FirstVisited = MakeLogTime(*MakeDay(2004, 3, 9), 3'600);
  EXPECT_EQ(VisitorTip(v, {}), "3 Page(s)");
  v.CountryName = "Norway";
  v.Browser = "IE6";
  EXPECT_EQ(VisitorTip(v, {}), "3 Page(s) Norway IE6");
  v.VisitCount = 2;
  EXPECT_EQ(VisitorTip(v, {}), "First Visited 3/9/2004 3 Page(s) Norway IE6");
  Regional regional;
  regional.short_date = "dd.MM.yyyy";
  EXPECT_EQ(VisitorTip(v, regional), "First Visited 09.03.2004 3 Page(s) Norway IE6");
}

}  // namespace
}  // namespace vantry
