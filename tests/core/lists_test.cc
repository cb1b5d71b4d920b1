#include "core/lists.h"

#include <string>

#include <gtest/gtest.h>

#include "core/tables.h"
#include "support/sample_visitor.h"

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

// The visitor that the tests of its cells start from.
VisitorRec Visitor() {
  VisitorRec v;
  v.Site = 2;
  v.IP = "10.0.0.7";
  FillSample(v);
  return v;
}

int16_t IconOf(const VisitorRec& v, size_t column) {
  return vs_grid::kList.columns[column].icon(v);
}

TEST_F(ListsTest, Visitors) {
  EXPECT_EQ(HeaderOf(vs_grid::kList),
            "Site                     |^ Key|>No   |>Visit  |DNS                                  "
            "|On Page                          |^Start Time |^Last Time  |Browser|Loc|Referrer");
  EXPECT_EQ(vs_grid::kList.site_column, vs_grid::kSite);
  EXPECT_EQ(TextsOf(vs_grid::kList, Visitor(), t),
            "News|2:10.0.0.7|12|1|host.example|/a.asp?b|01:00:00|01:01:01|IE6|NO|http://from/");
}

TEST_F(ListsTest, IconsAndNameFollowTheVisitor) {
  struct Case {
    const char* name;
    void (*change)(VisitorRec&);
    const char* dns;
    int16_t dns_icon, key_icon;
  };
  const char* host = "host.example";
  const Case cases[] = {
      {"new", [](VisitorRec&) {}, host, kIconNewVisitor, kIconNewVisitor},
      {"repeat", [](VisitorRec& v) { v.VisitCount = 2; }, host, kIconRepeatVisitor, kIconRepeatVisitor},
      {"idle goes before repeat", [](VisitorRec& v) { v.VisitCount = 2, v.Idle = true; }, host, kIconIdle, kIconIdle},
      {"group", [](VisitorRec& v) { v.GroupMask = "*.example"; }, "*.example", kIconGroup, kIconGroup},
      {"known name goes before group", [](VisitorRec& v) { v.GroupMask = "*.x", v.KnownName = "Ann"; }, "Ann",
       kIconKnownName, kIconKnownName},
      {"score of 3 is no suspect", [](VisitorRec& v) { v.HackCount = 3; }, host, kIconNewVisitor, kIconNewVisitor},
      {"suspect", [](VisitorRec& v) { v.HackCount = 4; }, host, kIconNewVisitor, kIconSuspect},
      {"suspect with a known name", [](VisitorRec& v) { v.HackCount = 4, v.KnownName = "Ann"; }, "Ann", kIconKnownName,
       kIconSuspect}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    VisitorRec v = Visitor();
    c.change(v);
    EXPECT_EQ(vs_grid::kList.Text(v, vs_grid::kDns, {t, Regional()}), c.dns);
    EXPECT_EQ(IconOf(v, vs_grid::kDns), c.dns_icon);
    EXPECT_EQ(IconOf(v, vs_grid::kKey), c.key_icon);
  }
}

TEST_F(ListsTest, FailedRequestsAreMarked) {
  VisitorRec v = Visitor();
  for (const auto& [status, icon] : {std::pair{404, kIconFailedRequest}, std::pair{400, kIconNone},
                                     std::pair{401, kIconFailedRequest}, std::pair{200, kIconNone}}) {
    v.Status = status;
    EXPECT_EQ(IconOf(v, vs_grid::kOnPage), icon) << status;
  }
}

TEST_F(ListsTest, BrowserIconFollowsTheShortCode) {
  struct Case {
    const char* browser;
    bool spider;
    int16_t icon;
  };
  for (const Case c :
       {Case{"IE6", false, kIconBrowserIE}, Case{"NS4", false, kIconBrowserNS}, Case{"OP", false, kIconBrowserOP},
        Case{"Lynx", false, kIconBrowserOther}, Case{"", false, kIconBrowserOther}, Case{"IE6", true, kIconSpider}}) {
    VisitorRec v = Visitor();
    v.Browser = c.browser;
    v.IsSpider = c.spider;
    EXPECT_EQ(IconOf(v, vs_grid::kBrowser), c.icon) << c.browser;
  }
}

TEST_F(ListsTest, Alerts) {
  EXPECT_EQ(HeaderOf(log_grid::kList),
            "SN|Site                          |>No   |>Alert|>Visit  |DNS                                       "
            "|^Date/Time                     |Page                        |>Mins On Site|Loc|Referrer");
  EXPECT_EQ(log_grid::kList.site_column, log_grid::kSite);
  AlertRow row{{{noon, 2}, 12, 3, "10.0.0.7", "host.example", "/a.asp", "NO", "http://from/"}};
  row.alert_no = 10;
  row.alert_colour = 5;
  EXPECT_EQ(TextsOf(log_grid::kList, row, t),
            "2|News|12|10|3|host.example|3/9/2004 12:00:00 PM|/a.asp||NO|http://from/");
  EXPECT_EQ(log_grid::kList.icon(row), kIconNone);
  EXPECT_EQ(log_grid::kList.colour(row), 5u);
  row.seconds_on_site = 0;
  row.suspect = true;
  EXPECT_EQ(log_grid::kList.Text(row, log_grid::kMinsOnSite, {t, Regional()}), "0:00");
  EXPECT_EQ(log_grid::kList.icon(row), kIconSuspect);
  EXPECT_EQ(log_grid::kList.colour(row), kColourAlarm);
}

TEST_F(ListsTest, Spiders) {
  EXPECT_EQ(HeaderOf(spider_grid::kList),
            "SN|Site                          |>No    |>Visit  | Spider DNS                           "
            "|Search Engine           |^Date/Time                     |Page                        |Loc|Referrer");
  EXPECT_EQ(spider_grid::kList.site_column, spider_grid::kSite);
  const SpiderRow row{{{noon, 2}, 12, 3, "10.0.0.7", "host.example", "/a.asp", "NO", "http://from/"}, "Crawler"};
  EXPECT_EQ(TextsOf(spider_grid::kList, row, t),
            "2|News|12|3|host.example|Crawler|3/9/2004 12:00:00 PM|/a.asp|NO|http://from/");
  EXPECT_EQ(spider_grid::kList.icon(row), kIconSpider);
}

TEST_F(ListsTest, PagesAndTrace) {
  EXPECT_EQ(HeaderOf(page_grid::kList), ">No  |Page                           |^Time");
  EXPECT_EQ(TextsOf(page_grid::kList, {"/a.asp?b=1", 0, 3'661, 3}, t), "3|/a.asp?b=1|01:01:01");
  EXPECT_EQ(TextsOf(trace_grid::kList, {"News", "GET\t/\t\tb", 4'000'000'000}, t), "News|4000000000|GET /  b")
      << "tabs are blanks";
}

}  // namespace
}  // namespace vantry
