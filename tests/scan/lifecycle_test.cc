#include "scan/lifecycle.h"

#include <gtest/gtest.h>

#include "core/lists.h"
#include "core/visitor_rows.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

struct LifecycleTest : ::testing::Test {
  ScanRig rig;
  Lifecycle& visits = rig.scan.Visits();
  LifecycleTest() {
    rig.AddSite();
    rig.Ready();
    rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  }
  VisitorRec& V() { return *rig.Visitor("10.0.0.1"); }
  void AddAlertRow(int32_t visit_no) {
    AlertRow row;
    row.site = 1;
    row.ip = "10.0.0.1";
    row.visit_no = visit_no;
    rig.t.logGrid.Add(std::move(row));
  }
  std::string Minutes(const AlertRow& row) const {
    return log_grid::kList.Text(row, log_grid::kMinsOnSite, {rig.t, rig.regional});
  }
};

TEST_F(LifecycleTest, IdleAtHalfOfTheLimitAndGoneAboveIt) {
  rig.clock.Advance(4 * 60 + 59);
  visits.ScanToRemove();
  EXPECT_FALSE(V().Idle);
  rig.clock.Advance(1);
  visits.ScanToRemove();
  EXPECT_TRUE(V().Idle);
  EXPECT_EQ(vs_grid::kList.columns[vs_grid::kKey].icon(V()), kIconIdle);
  rig.clock.Advance(5 * 60 + 59);  // 10:59, ten whole minutes.
  visits.ScanToRemove();
  EXPECT_EQ(rig.t.Visitors.Count(), 1);
  rig.clock.Advance(1);
  visits.ScanToRemove();
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
}

TEST_F(LifecycleTest, MinutesAreBoundariesCrossed) {
  rig.clock.now.s += 59;  // The view came at 12:00:00; now let a new one come at 12:00:59.
  rig.Hit("10.0.0.1", "11:00:59", "/b.htm");
  rig.clock.Advance(10 * 60 + 1);  // 12:11:00: eleven boundaries, though ten minutes and one second.
  visits.ScanToRemove();
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
}

TEST_F(LifecycleTest, LogTimeAgesToo) {
  rig.Hit("10.0.0.2", "11:11:00", "/a.htm");
  visits.ScanToRemove();
  EXPECT_EQ(rig.t.Visitors.Count(), 1);
  EXPECT_NE(rig.Visitor("10.0.0.2"), nullptr);
}

TEST_F(LifecycleTest, WithALimitOfOneMinuteAVisitorIsIdleAtOnce) {
  rig.settings.InactivityMins = 1;
  visits.ScanToRemove();
  EXPECT_TRUE(V().Idle);
}

TEST_F(LifecycleTest, NewViewClearsIdleAndRepeatedHitDoesNot) {
  rig.clock.Advance(5 * 60);
  visits.ScanToRemove();
  rig.Hit("10.0.0.1", "11:05:00", "/a.htm");
  EXPECT_TRUE(V().Idle) << "the same page is no view";
  rig.Hit("10.0.0.1", "11:05:01", "/b.htm");
  EXPECT_FALSE(V().Idle);
}

TEST_F(LifecycleTest, ViewBetweenMarkAndRemovalKeepsTheVisit) {
  visits.MarkForRemoval(V());
  rig.Hit("10.0.0.1", "11:00:09", "/b.htm");
  visits.RemoveInactive();
  EXPECT_EQ(rig.t.Visitors.Count(), 1);
}

TEST_F(LifecycleTest, LeavingClosesTheVisitEverywhere) {
  rig.t.InterfaceCount = 1;
  rig.Hit("10.0.0.1", "11:01:05", "/b.htm");
  AddAlertRow(1);
  V().HackCount = 4;
  visits.MarkForRemoval(V());
  visits.RemoveInactive();
  const SiteRec& site = rig.t.Site(1);
  EXPECT_EQ(site.LastIP, "10.0.0.1");
  EXPECT_EQ(site.LastPage, "b.htm");
  EXPECT_EQ(FormatTime(SecondOfDay(site.LastTime)), "11:01:05");
  EXPECT_EQ(site.CurrentVisitors, 0);
  EXPECT_FALSE(site.ViewDirty);
  EXPECT_EQ(rig.view.Count("node 1"), 1);
  EXPECT_EQ(rig.t.pageGrid.RowCount(), 0u);
  const AlertRow& alert = *rig.t.logGrid.begin();
  EXPECT_EQ(Minutes(alert), "1:05");
  EXPECT_EQ(log_grid::kList.icon(alert), kIconSuspect);
  EXPECT_EQ(log_grid::kList.colour(alert), kColourAlarm);
  EXPECT_EQ(rig.history.Count("end 1:10.0.0.1"), 1);
  EXPECT_EQ(rig.events.calls.back(), "left www.own.example 10.0.0.1");
}

TEST_F(LifecycleTest, EachVisitFinishesItsOwnAlertRow) {
  AddAlertRow(1);
  rig.Hit("10.0.0.1", "11:01:05", "/b.htm");
  visits.MarkForRemoval(V());
  visits.RemoveInactive();
  rig.Hit("10.0.0.1", "11:30:00", "/c.htm");
  AddAlertRow(2);
  rig.Hit("10.0.0.1", "11:32:07", "/d.htm");
  V().HackCount = 4;
  visits.MarkForRemoval(V());
  visits.RemoveInactive();
  const AlertRow& first = *rig.t.logGrid.begin();
  const AlertRow& second = *(rig.t.logGrid.end() - 1);
  EXPECT_EQ(Minutes(first), "1:05");
  EXPECT_EQ(log_grid::kList.icon(first), kIconNone);
  EXPECT_EQ(Minutes(second), "2:07");
  EXPECT_EQ(log_grid::kList.icon(second), kIconSuspect);
}

TEST_F(LifecycleTest, VisitWithoutAnAlertLeavesTheRowsOfEarlierOnes) {
  AddAlertRow(7);
  visits.MarkForRemoval(V());
  visits.RemoveInactive();
  EXPECT_EQ(Minutes(*rig.t.logGrid.begin()), "");
}

TEST_F(LifecycleTest, CountOfTheSiteDoesNotGoBelowZero) {
  rig.t.Site(1).CurrentVisitors = 0;
  visits.MarkForRemoval(V());
  visits.RemoveInactive();
  EXPECT_EQ(rig.t.Site(1).CurrentVisitors, 0);
}

TEST_F(LifecycleTest, OrderOfTheOthersStays) {
  for (int i = 2; i <= 200; ++i) rig.Hit("10.0.1." + std::to_string(i), "11:00:01", "/a.htm");
  std::vector<std::string> expected;
  rig.t.Visitors.ForEach([&](int32_t n, VisitorRec& v) {
    if (n % 3 == 0)
      visits.MarkForRemoval(v);
    else
      expected.emplace_back(v.IP);
  });
  visits.RemoveInactive();
  std::vector<std::string> left;
  rig.t.Visitors.ForEach([&](int32_t, VisitorRec& v) { left.emplace_back(v.IP); });
  EXPECT_EQ(left, expected);
}

// While many leave, the port is served. A look finds each visitor in all places or in none.
TEST_F(LifecycleTest, EveryViewHoldsWhileManyLeave) {
  for (int i = 2; i <= 1000; ++i) rig.Hit("10.0.1." + std::to_string(i), "11:00:01", "/a.htm");
  rig.clock.Advance(11 * 60);
  rig.t.Visitors.At(500)->LastClock = rig.t.Visitors.At(600)->LastClock = rig.clock.Now();
  rig.t.Site(1).LastReadDateTime = rig.t.Visitors.At(500)->LastHitTime;
  rig.clock.ms_per_look = Lifecycle::kYieldMs;
  int in_between = 0;
  int32_t before = 1000;
  rig.loop.on_turn = [&] {
    const int32_t now = rig.t.Visitors.Count();
    EXPECT_LE(now, before);
    in_between += now < 1000 && now > 2;
    before = now;
    EXPECT_EQ(rig.t.Site(1).CurrentVisitors, now);
    EXPECT_EQ(rig.history.Count("end 1:10.0.1.777"), rig.t.Visitors.Find(1, "10.0.1.777") ? 0 : 1);
    EXPECT_TRUE(rig.t.ScanInProgress);
    rig.scan.Timer2Tick();
    rig.scan.Timer1Tick();
    EXPECT_EQ(rig.t.Visitors.Count(), now) << "no second pass inside the first";
  };
  rig.scan.Timer2Tick();
  EXPECT_GT(in_between, 10);
  EXPECT_FALSE(rig.t.ScanInProgress);
  std::string left;
  rig.t.Visitors.ForEach([&](int32_t n, VisitorRec& v) { left += std::to_string(n) + " " + v.IP + " "; });
  EXPECT_EQ(left, "1 10.0.1.500 2 10.0.1.600 ");
  EXPECT_EQ(rig.view.Count("node 1"), 1) << "told once, at the end";
}

TEST_F(LifecycleTest, AProgramThatClosesLeavesARemovalAtOnce) {
  for (int i = 2; i <= 1000; ++i) rig.Hit("10.0.1." + std::to_string(i), "11:00:01", "/a.htm");
  rig.clock.Advance(11 * 60);
  rig.clock.ms_per_look = Lifecycle::kYieldMs;
  int32_t at_close = 0;
  rig.loop.on_turn = [&] {
    if (rig.t.Visitors.Count() > 800) return;
    rig.t.Closing = true;
    at_close = rig.t.Visitors.Count();
  };
  visits.ScanToRemove();
  EXPECT_GT(at_close, 700);
  EXPECT_EQ(rig.t.Visitors.Count(), at_close);
  EXPECT_FALSE(rig.t.ScanInProgress);
}

TEST_F(LifecycleTest, RemovalInsideAScanDoesNotTurnTheLoop) {
  rig.clock.ms_per_look = Lifecycle::kYieldMs;
  for (int i = 2; i <= 200; ++i) rig.Hit("10.0.1." + std::to_string(i), "11:00:01", "/a.htm");
  rig.t.Visitors.ForEach([&](int32_t, VisitorRec& v) { visits.MarkForRemoval(v); });
  const int turns = rig.loop.turns;
  visits.RemoveInactive();
  EXPECT_EQ(rig.loop.turns, turns);
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
}

TEST_F(LifecycleTest, LaterLineOfTheSameAddressIsANewVisit) {
  visits.MarkForRemoval(V());
  visits.RemoveInactive();
  rig.Hit("10.0.0.1", "11:20:00", "/a.htm");
  EXPECT_EQ(V().VisitNo, 2);
}

TEST(MinutesText, ExactlyAMinuteStillReadsAsSeconds) {
  for (const auto& [seconds, text] : std::vector<std::pair<int, std::string>>{
           {0, "0:00"}, {9, "0:09"}, {59, "0:59"}, {60, "0:60"}, {61, "1:01"}, {3661, "61:01"}}) {
    EXPECT_EQ(MinutesText(seconds), text);
  }
}

}  // namespace
}  // namespace vantry
