#include "core/visitor_rows.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

constexpr char kHost[] = "host.example";

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
    v.Key = std::to_string(site) + ":" + ip;
    v.DNS = kHost;
    v.VisitNo = 12;
    v.VisitCount = 1;
    v.Page = "/a.asp";
    v.Query = "?b";
    v.Browser = "IE6";
    v.CountryCode = "NO";
    v.Referrer = "http://from/";
    v.StartTime = MakeLogTime(*MakeDay(2004, 3, 9), 3'600);
    v.LastHitTime = MakeLogTime(*MakeDay(2004, 3, 9), 3'661);
    v.Status = 200;
    return v;
  }
  GridRow& Row(const VisitorRec& v) { return *t.VsGrid.FindRow(v.Key); }
};

TEST(VisitorRows, AddToGrid_FillsTheRow) {
  VisitorRowsBench b;
  VisitorRec& v = b.Visitor(1, "10.0.0.7");
  AddToGrid(b.t, v);
  const GridRow& row = b.Row(v);
  const char* want[] = {"Shop",     "1:10.0.0.7", "12",  "1",  kHost,         "/a.asp?b",
                        "01:00:00", "01:01:01",   "IE6", "NO", "http://from/"};
  for (size_t c = 0; c < vs_grid::kCount; ++c) EXPECT_EQ(row.Text(c), want[c]) << c;
  EXPECT_EQ(row.site, 1);
  EXPECT_EQ(row.when, v.StartTime);
}

TEST(VisitorRows, AddToGrid_GivesTwoSitesTwoRows) {
  VisitorRowsBench b;
  VisitorRec& one = b.Visitor(1, "10.0.0.7");
  VisitorRec& two = b.Visitor(2, "10.0.0.7");
  AddToGrid(b.t, one);
  AddToGrid(b.t, two);
  EXPECT_EQ(b.t.VsGrid.RowCount(), 2u);
  EXPECT_EQ(b.Row(one).Text(vs_grid::kSite), "Shop");
  EXPECT_EQ(b.Row(two).Text(vs_grid::kSite), "News");
}

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
    AddSpider(b.t, v, b.regional);
    EXPECT_EQ(b.Row(v).hidden, c.hidden) << c.view;
    EXPECT_EQ(b.t.spiderGrid.FindRow(v.Key)->hidden, c.hidden) << c.view;
  }
}

TEST(VisitorRows, Icons_FollowTheVisitor) {
  struct Case {
    const char* name;
    void (*change)(VisitorRec&);
    const char* dns;
    int16_t dns_icon, key_icon;
  };
  const Case cases[] = {
      {"new", [](VisitorRec&) {}, kHost, kIconNewVisitor, kIconNewVisitor},
      {"repeat", [](VisitorRec& v) { v.VisitCount = 2; }, kHost, kIconRepeatVisitor, kIconRepeatVisitor},
      {"idle goes before repeat", [](VisitorRec& v) { v.VisitCount = 2, v.Idle = true; }, kHost, kIconIdle, kIconIdle},
      {"group", [](VisitorRec& v) { v.GroupMask = "*.example"; }, "*.example", kIconGroup, kIconGroup},
      {"known name goes before group", [](VisitorRec& v) { v.GroupMask = "*.x", v.KnownName = "Ann"; }, "Ann",
       kIconKnownName, kIconKnownName},
      {"score of 3 is no suspect", [](VisitorRec& v) { v.HackCount = 3; }, kHost, kIconNewVisitor, kIconNewVisitor},
      {"suspect", [](VisitorRec& v) { v.HackCount = 4; }, kHost, kIconNewVisitor, kIconSuspect},
      {"suspect with a known name", [](VisitorRec& v) { v.HackCount = 4, v.KnownName = "Ann"; }, "Ann", kIconKnownName,
       kIconSuspect}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    VisitorRowsBench b;
    VisitorRec& v = b.Visitor(1, "a");
    AddToGrid(b.t, v);
    c.change(v);
    UpdateGrid(b.t, v);
    EXPECT_EQ(b.Row(v).Text(vs_grid::kDns), c.dns);
    EXPECT_EQ(b.Row(v).IconOf(vs_grid::kDns), c.dns_icon);
    EXPECT_EQ(b.Row(v).IconOf(vs_grid::kKey), c.key_icon);
    EXPECT_EQ(b.Row(v).Text(vs_grid::kKey), v.Key);
  }
}

TEST(VisitorRows, BrowserIcon_FollowsTheShortCode) {
  struct Case {
    const char* browser;
    bool spider;
    int16_t icon;
  };
  for (const Case c :
       {Case{"IE6", false, kIconBrowserIE}, Case{"NS4", false, kIconBrowserNS}, Case{"OP", false, kIconBrowserOP},
        Case{"Lynx", false, kIconBrowserOther}, Case{"", false, kIconBrowserOther}, Case{"IE6", true, kIconSpider}}) {
    VisitorRowsBench b;
    VisitorRec& v = b.Visitor(1, "a");
    v.Browser = c.browser;
    v.IsSpider = c.spider;
    AddToGrid(b.t, v);
    EXPECT_EQ(b.Row(v).IconOf(vs_grid::kBrowser), c.icon) << c.browser;
  }
}

TEST(VisitorRows, UpdateGrid_MarksFailedRequestsUntilTheNextGoodOne) {
  VisitorRowsBench b;
  VisitorRec& v = b.Visitor(1, "a");
  AddToGrid(b.t, v);
  for (const auto& [status, icon] : {std::pair{404, kIconFailedRequest}, std::pair{400, kIconNone},
                                     std::pair{401, kIconFailedRequest}, std::pair{200, kIconNone}}) {
    v.Status = status;
    UpdateGrid(b.t, v);
    EXPECT_EQ(b.Row(v).IconOf(vs_grid::kOnPage), icon) << status;
  }
}

TEST(VisitorRows, UpdateGrid_KeepsAKnownNameAfterTheDnsNameArrives) {
  VisitorRowsBench b;
  VisitorRec& v = b.Visitor(1, "a");
  v.KnownName = "Ann";
  AddToGrid(b.t, v);
  v.DNS = "other.example";
  UpdateGrid(b.t, v);
  EXPECT_EQ(b.Row(v).Text(vs_grid::kDns), "Ann");
}

TEST(VisitorRows, UpdateDirtyRows_RedrawsWhatMovedAndClearsTheMark) {
  VisitorRowsBench b;
  VisitorRec& moved = b.Visitor(1, "a");
  VisitorRec& still = b.Visitor(1, "b");
  AddToGrid(b.t, moved);
  AddToGrid(b.t, still);
  moved.Page = still.Page = "/next.htm";
  moved.Query = "";
  moved.Referrer = "r2";
  moved.LastHitTime.s += 1;
  moved.GridDirty = true;
  UpdateDirtyRows(b.t);
  EXPECT_FALSE(moved.GridDirty);
  EXPECT_EQ(b.Row(moved).Text(vs_grid::kOnPage), "/next.htm");
  EXPECT_EQ(b.Row(moved).Text(vs_grid::kReferrer), "r2");
  EXPECT_EQ(b.Row(moved).Text(vs_grid::kLastTime), "01:01:02");
  EXPECT_EQ(b.Row(moved).Text(vs_grid::kStartTime), "01:00:00");
  EXPECT_EQ(b.Row(still).Text(vs_grid::kOnPage), "/a.asp?b");
}

TEST(VisitorRows, UpdateGrid_OfAVisitorWithoutARowChangesNothing) {
  VisitorRowsBench b;
  VisitorRec& v = b.Visitor(1, "a");
  v.GridDirty = true;
  UpdateGrid(b.t, v);
  EXPECT_EQ(b.t.VsGrid.RowCount(), 0u);
}

TEST(VisitorRows, RemoveRowBySite_TakesAllRowsOfThatName) {
  VisitorRowsBench b;
  for (const char* ip : {"a", "b"}) {
    AddToGrid(b.t, b.Visitor(1, ip));
    AddToGrid(b.t, b.Visitor(2, ip));
  }
  RemoveRowBySite(b.t, 1, "nobody");
  EXPECT_EQ(b.t.VsGrid.RowCount(), 4u);
  RemoveRowBySite(b.t, 1, kHost);
  EXPECT_EQ(b.t.VsGrid.RowCount(), 2u);
  EXPECT_EQ(b.t.VsGrid.FindRow("1:a"), nullptr);
}

TEST(VisitorRows, RemoveFromGrid_TakesTheVisitorsPages) {
  VisitorRowsBench b;
  VisitorRec& v = b.Visitor(1, "a");
  VisitorRec& other = b.Visitor(1, "b");
  b.t.pageGrid.AddRow(v, 1, "/a", "", 0);
  b.t.pageGrid.AddRow(other, 1, "/b", "", 0);
  RemoveFromGrid(b.t, v);
  EXPECT_EQ(b.t.pageGrid.RowCount(), 1u);
}

TEST(VisitorRows, AddSpider_CountsAndFillsTheRow) {
  VisitorRowsBench b;
  VisitorRec& v = b.Visitor(2, "a");
  v.SpiderName = "Crawler";
  v.SpiderPending = true;
  AddSpider(b.t, v, b.regional);
  EXPECT_FALSE(v.SpiderPending);
  EXPECT_EQ(b.t.TotalSpiderCount, 1);
  EXPECT_EQ(b.t.TodaySpiderCount, 1);
  EXPECT_EQ(b.t.Site(2).TotalSpiders, 1);
  EXPECT_EQ(b.t.Site(2).TodaySpiders, 1);
  EXPECT_EQ(b.t.Site(1).TodaySpiders, 0);
  const GridRow& row = *b.t.spiderGrid.FindRow("2:a");
  const char* want[] = {"2",      "News", "12",          "1", kHost, "Crawler", "3/9/2004 1:00:00 AM",
                        "/a.asp", "NO",   "http://from/"};
  for (size_t c = 0; c < spider_grid::kCount; ++c) EXPECT_EQ(row.Text(c), want[c]) << c;
}

TEST(VisitorRows, MinutesOnSite_ReadsMinutesAndSeconds) {
  struct Case {
    int64_t seconds;
    const char* want;
  };
  for (const Case c : {Case{0, "0:00"}, Case{9, "0:09"}, Case{60, "0:60"}, Case{61, "1:01"}, Case{3'600, "60:00"}}) {
    VisitorRec v;
    v.LastHitTime.s = c.seconds;
    EXPECT_EQ(MinutesOnSite(v), c.want);
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

}  // namespace
}  // namespace vantry
