#include "core/view_summary.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

struct ViewSummaryTest : testing::Test {
  LiveTables t;
  ViewSummaryTest() {
    t.Sites.resize(2);
    SiteRec& site = t.Site(2);
    site.Name = "News";
    site.CurrentVisitors = 3;
    site.TotalVisitors = 120;
    site.TodayVisitors = 40;
    site.PeakToday = 7;
    site.TotalPeak = 99;
    site.TotalAlerts = 9;
    site.TodayAlerts = 8;
    site.TotalSpiders = 7;
    site.TodaySpiders = 6;
    site.TotalExceptions = 5;
    site.TodayExceptions = 4;
    for (const char* address : {"a", "b"}) t.Visitors.Add(1, address);
    t.TotalVisitorCount = 1200;
    t.TodayVisitorCount = 400;
    t.TotalAlertCount = 90;
    t.TodayAlertCount = 80;
    t.TotalSpiderCount = 70;
    t.TodaySpiderCount = 60;
    t.TotalExceptionCount = 50;
    t.TodayExceptionCount = 45;
  }
  std::string Summary(int16_t view, int16_t type) {
    t.CurrentView = view;
    t.CurrentViewType = type;
    return HeaderSummary(t);
  }
};

TEST_F(ViewSummaryTest, OneSite) {
  EXPECT_EQ(Summary(2, kViewVisitors), "News [3 Active Visitors] Total:120 Today:40 Peak:7");
  EXPECT_EQ(Summary(2, kViewAlerts), "News [9 Alerts] Today:8");
  EXPECT_EQ(Summary(2, kViewSpiders), "News [7 Spiders] Today:6");
  EXPECT_EQ(Summary(2, kViewExceptions), "News [5 Exceptions] Today:4");
}

TEST_F(ViewSummaryTest, AllSites) {
  EXPECT_EQ(Summary(0, kViewVisitors), "All Sites [2 Active Visitors] Total:1200 Today:400");
  EXPECT_EQ(Summary(0, kViewAlerts), "All Sites [90 Alerts] Today:80");
  EXPECT_EQ(Summary(0, kViewSpiders), "All Sites [70 Spiders] Today:60");
  EXPECT_EQ(Summary(0, kViewExceptions), "All Sites [50 Exceptions] Today:45");
}

TEST_F(ViewSummaryTest, ASiteThatIsNotMonitoredSaysSo) {
  t.Site(2).Paused = true;
  EXPECT_EQ(Summary(2, kViewVisitors), "News [3 Active Visitors] Total:120 Today:40 Peak:7 [Stopped]");
  EXPECT_EQ(Summary(2, kViewExceptions), "News [5 Exceptions] Today:4 [Stopped]");
  EXPECT_EQ(Summary(0, kViewExceptions), "All Sites [50 Exceptions] Today:45");
  // The sleep period stops a site.
  t.Site(2).Sleeping = true;
  EXPECT_EQ(Summary(2, kViewAlerts), "News [9 Alerts] Today:8 [Stopped] [Sleep Mode]");
  // Started by hand within its sleep period.
  t.Site(2).Paused = false;
  EXPECT_EQ(Summary(2, kViewAlerts), "News [9 Alerts] Today:8 [Sleep Mode]");
}

TEST_F(ViewSummaryTest, NumbersThatNoViewHas) {
  EXPECT_EQ(Summary(3, kViewAlerts), "All Sites [90 Alerts] Today:80");
  EXPECT_EQ(Summary(-1, kViewAlerts), "All Sites [90 Alerts] Today:80");
  EXPECT_EQ(Summary(2, 0), "News [3 Active Visitors] Total:120 Today:40 Peak:7");
  EXPECT_EQ(Summary(2, 5), "News [3 Active Visitors] Total:120 Today:40 Peak:7");
}

TEST(ViewName, EachViewHasOne) {
  EXPECT_EQ(ViewName(kViewVisitors), "Current Visitors");
  EXPECT_EQ(ViewName(kViewAlerts), "Current Alerts");
  EXPECT_EQ(ViewName(kViewSpiders), "Visited Spiders");
  EXPECT_EQ(ViewName(kViewExceptions), "Exceptions");
  EXPECT_EQ(ViewName(0), "Current Visitors");
  EXPECT_EQ(ViewName(5), "Current Visitors");
}

}  // namespace
}  // namespace vantry
