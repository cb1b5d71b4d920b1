#include "core/activity.h"

#include <string>

#include <gtest/gtest.h>

#include "core/tables.h"

namespace vantry {
namespace {

// Two sites, looked at every 2 seconds from 12:00:00 on. They have been read already.
struct ActivityTest : testing::Test {
  LiveTables t;
  ActivityRing& ring = t.Activity;
  UtcTime now{MakeDay(2026, 3, 5)->n * kSecondsPerDay + 12 * 3600};

  ActivityTest() {
    t.Sites.resize(2);
    for (SiteRec& site : t.Sites) site.ReadOnce = true;
    for (int i = 0; i < ActivityRing::kSettleTicks; ++i) ring.Feed(t, now);
  }
  void Feed(int64_t after_s) {
    now.s += after_s;
    ring.Feed(t, now);
  }
  void View(int16_t site, int count = 1) { t.Site(site).PagesCounted += count; }
  // Visitors, page views, spiders and exceptions of the minutes that have any, each with how many minutes ago.
  std::string Shown(int16_t site) const {
    std::string out;
    const ActivityRing::Hour hour = ring.HourOf(site);
    for (int i = 0; i < ActivityRing::kMinutes; ++i) {
      const ActivityMinute& m = hour[static_cast<size_t>(i)];
      if (m == ActivityMinute{}) continue;
      out += std::to_string(ActivityRing::kMinutes - 1 - i) + ": " + std::to_string(m.visitors) + " " +
             std::to_string(m.page_views) + " " + std::to_string(m.spiders) + " " + std::to_string(m.exceptions) + "; ";
    }
    return out;
  }
};

TEST_F(ActivityTest, AMinuteHasWhatHappenedInIt) {
  t.Site(1).CurrentVisitors = 3;
  View(1, 2);
  ++t.Site(1).TotalSpiders;
  Feed(2);
  t.Site(1).CurrentVisitors = 5;
  View(1, 4);
  Feed(2);
  t.Site(1).CurrentVisitors = 2;
  t.Site(1).TotalExceptions += 7;
  t.TotalExceptionCount += 7;
  Feed(54);
  EXPECT_EQ(Shown(1), "0: 5 6 1 7; ");
  View(1);
  Feed(2);  // The next minute.
  EXPECT_EQ(Shown(1), "1: 5 6 1 7; 0: 2 1 0 0; ");
  EXPECT_EQ(Shown(2), "");
}

TEST_F(ActivityTest, AllSitesAreTheSum) {
  t.Site(1).CurrentVisitors = 3;
  t.Site(2).CurrentVisitors = 1;
  View(1);
  View(2, 5);
  Feed(2);
  // The most at one time, not the sum of what each had at most.
  t.Site(1).CurrentVisitors = 0;
  t.Site(2).CurrentVisitors = 3;
  Feed(2);
  EXPECT_EQ(Shown(1), "0: 3 1 0 0; ");
  EXPECT_EQ(Shown(2), "0: 3 5 0 0; ");
  EXPECT_EQ(Shown(0), "0: 4 6 0 0; ");
}

TEST_F(ActivityTest, ExceptionsOfNoSiteCountForAll) {
  t.TotalExceptionCount += 2;
  ++t.Site(2).TotalExceptions;
  Feed(2);
  EXPECT_EQ(Shown(0), "0: 0 0 0 2; ");
  EXPECT_EQ(Shown(2), "0: 0 0 0 1; ");
}

TEST_F(ActivityTest, OneHourIsKept) {
  View(1);
  Feed(2);
  Feed(59 * 60);
  EXPECT_EQ(Shown(1), "59: 0 1 0 0; ");
  Feed(60);
  EXPECT_EQ(Shown(1), "");
  EXPECT_EQ(Shown(0), "");
}

TEST_F(ActivityTest, ASleepLeavesEmptyMinutes) {
  View(1);
  Feed(2);
  View(1, 8);  // Piled up meanwhile: counts when it is read.
  Feed(10 * 60);
  EXPECT_EQ(Shown(1), "10: 0 1 0 0; 0: 0 8 0 0; ");
  Feed(3 * 3600);
  EXPECT_EQ(Shown(1), "");
  Feed(400 * kSecondsPerDay);
  EXPECT_EQ(Shown(0), "");
}

TEST_F(ActivityTest, AClockSetBackGoesOnInTheSameMinute) {
  View(1);
  Feed(2);
  View(1);
  Feed(-3600);
  EXPECT_EQ(Shown(1), "0: 0 2 0 0; ");
  View(1);
  Feed(60);
  EXPECT_EQ(Shown(1), "1: 0 2 0 0; 0: 0 1 0 0; ");
}

TEST_F(ActivityTest, AFirstReadingCountsNowhere) {
  SiteRec& site = t.Sites.emplace_back();
  site.CurrentVisitors = 900;
  site.PagesCounted = 50'000;
  for (int i = 0; i < 20; ++i) {
    View(3, 1'000);
    Feed(2);
  }
  site.ReadOnce = true;
  // Visits that are over leave soon.
  for (int i = 0; i < ActivityRing::kSettleTicks; ++i) Feed(2);
  t.Site(3).CurrentVisitors = 4;
  EXPECT_EQ(Shown(3), "");
  View(3, 2);
  Feed(2);
  EXPECT_EQ(Shown(3), "0: 4 2 0 0; ");
  EXPECT_EQ(Shown(0), "0: 4 2 0 0; ");
}

TEST_F(ActivityTest, ADeletedSiteIsEmptyAndWhatItDidStaysInTheSum) {
  t.Site(1).CurrentVisitors = 2;
  View(1);
  Feed(2);
  t.Site(1).Deleted = true;
  View(1);
  Feed(60);
  EXPECT_EQ(Shown(1), "");
  EXPECT_EQ(Shown(0), "1: 2 1 0 0; ");
}

TEST_F(ActivityTest, CountersThatFallCountNothing) {
  View(1, 10);
  Feed(2);
  t.Site(1).PagesCounted = 0;
  t.TotalExceptionCount = -5;
  Feed(2);
  View(1);
  Feed(2);
  EXPECT_EQ(Shown(1), "0: 0 11 0 0; ");
  EXPECT_EQ(Shown(0), "0: 0 11 0 0; ");
}

TEST_F(ActivityTest, NobodyElseHasAnHour) {
  View(1);
  Feed(2);
  EXPECT_EQ(Shown(-1), "");
  EXPECT_EQ(Shown(3), "");
  EXPECT_EQ(ActivityRing().HourOf(0), ActivityRing::Hour());
}

}  // namespace
}  // namespace vantry
