// From the hit to the counted page, with corrections.
#include <gtest/gtest.h>

#include "core/exception_numbers.h"
#include "core/lists.h"
#include "core/visitor_rows.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

struct CorrectedHitTest : ::testing::Test {
  ScanRig rig;
  CorrectedHitTest() {
    rig.AddSite();
    rig.Ready();
  }
  VisitorRec& V(const std::string& ip = "10.0.0.1") { return *rig.Visitor(ip); }
};

TEST_F(CorrectedHitTest, GroupsHoldWithinASite) {
  rig.t.Corrected.GroupsPerSite = true;
  rig.AddSite();
  rig.settings.DNSMask[0] = "*.proxy.example";
  rig.names.names["10.0.0.1"] = rig.names.names["10.0.0.2"] = "c1.proxy.example";
  rig.history.dns = {{"10.0.0.2", "c2.proxy.example"}, {"10.0.0.3", "c3.proxy.example"}};
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Ready(2);
  rig.Line(ScanRig::Ncsa("10.0.0.2", "11:00:05", "/b.htm"), 2);
  ASSERT_EQ(rig.t.Visitors.Count(), 2);
  EXPECT_EQ(V().Page, "a.htm");
  EXPECT_EQ(V().GroupMask, "");
  EXPECT_EQ(rig.Visitor("10.0.0.2", 2)->Page, "b.htm");
  // On its own site a member joins as ever.
  rig.Line(ScanRig::Ncsa("10.0.0.3", "11:00:06", "/c.htm"), 2);
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
  EXPECT_EQ(rig.Visitor("10.0.0.2", 2)->Page, "c.htm");
  EXPECT_EQ(rig.Visitor("10.0.0.2", 2)->GroupMask, "*.proxy.example");
}

TEST_F(CorrectedHitTest, AlertsAreTestedAtEveryViewUntilOneMatches) {
  using Calls = std::vector<std::string>;
  rig.t.Corrected.TestEveryPage = true;
  rig.t.Alerts.resize(2);
  rig.t.Alerts[1].AlertNo = 7;
  rig.names.names["10.0.0.1"] = "stored.example";
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_EQ(rig.alerts.calls, Calls{"raise 1:10.0.0.1 page 'a.htm' dns 'stored.example'"});
  rig.Hit("10.0.0.1", "11:00:01", "/a.htm");  // No view, no test.
  EXPECT_EQ(rig.alerts.calls.size(), 1u);
  EXPECT_FALSE(V().AlertRaised);
  rig.alerts.calls.clear();
  rig.alerts.next = 2;
  rig.Hit("10.0.0.1", "11:00:02", "/b.htm");
  EXPECT_EQ(rig.alerts.calls, (Calls{"raise 1:10.0.0.1 page 'b.htm' dns 'stored.example'", "add 1:10.0.0.1 2"}));
  EXPECT_EQ(V().AlertNo, 7);
  rig.alerts.next = 1;
  rig.Hit("10.0.0.1", "11:00:03", "/c.htm");
  EXPECT_EQ(rig.alerts.calls.size(), 2u) << "one alert a visit";
  EXPECT_EQ(V().AlertNo, 7);
}

TEST_F(CorrectedHitTest, AnAlertOfTheFirstViewIsKnownToTheHistory) {
  rig.t.Corrected.TestEveryPage = true;
  rig.t.Alerts.resize(1);
  rig.alerts.next = 1;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_EQ(rig.alerts.calls.size(), 2u);
  EXPECT_EQ(V().Page, "a.htm");
  EXPECT_EQ(V().Pages, 1) << "the page that was tested is counted once";
}

TEST_F(CorrectedHitTest, SpidersAreNeverTested) {
  rig.t.Corrected.TestEveryPage = true;
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:00", "/a.htm", 200, "-", "Googlebot/2.1"));
  rig.Line(ScanRig::Ncsa("10.0.0.1", "11:00:05", "/b.htm", 200, "-", "Googlebot/2.1"));
  EXPECT_TRUE(rig.alerts.calls.empty());
}

TEST_F(CorrectedHitTest, VisitorsBeyondTheBoundAreOneRow) {
  rig.t.Corrected.MaxVisitors = 2;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Hit("10.0.0.2", "11:00:00", "/a.htm");
  for (int i = 3; i < 43; ++i) rig.Hit("10.0.0." + std::to_string(i), "11:00:01", "/a.htm", 404);
  rig.Hit("10.0.0.3", "11:00:02", "/b.htm");
  rig.Hit("10.0.0.1", "11:00:03", "/b.htm");
  ASSERT_EQ(rig.t.Visitors.Count(), 3);
  const VisitorRec& other = V("other");
  EXPECT_EQ(other.Pages, 41);
  EXPECT_EQ(other.KnownName, "other (40 addresses, 41 pages)");
  EXPECT_EQ(other.DNS, "other");
  EXPECT_EQ(other.Page, "b.htm");
  EXPECT_TRUE(other.UserAgent.empty());
  EXPECT_EQ(V().Pages, 2);
  EXPECT_EQ(rig.t.Site(1).PagesCounted, 44);
  EXPECT_EQ(rig.t.Site(1).TotalVisitors, 3);
  // What single lines tell is raised; the row stands for many, so nothing is said of how it behaves.
  EXPECT_EQ(rig.exceptions.Count(404), 40);
  EXPECT_EQ(rig.exceptions.raised.size(), 40u);
  EXPECT_EQ(other.HackCount, 0);
  EXPECT_EQ(rig.history.Count("visit 1:other"), 1);
  // Another site has a row of its own, and the next line goes by its own fields.
  rig.AddSite();
  rig.Ready(2);
  rig.Line(ScanRig::Ncsa("10.0.0.9", "11:00:04", "/a.htm", 200, "http://a.example/", "Agent/1"), 2);
  EXPECT_EQ(rig.Visitor("other", 2)->KnownName, "other (1 addresses, 1 pages)");
  EXPECT_EQ(rig.t.Hit.HitIP, "10.0.0.9");
  EXPECT_EQ(rig.t.Hit.HitAgent, "Agent/1");
}

TEST_F(CorrectedHitTest, TheRowOfOthersBeginsAnewAfterItLeft) {
  rig.t.Corrected.MaxVisitors = 1;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.Hit("10.0.0.2", "11:00:01", "/a.htm");
  rig.Ready(1, 1);
  rig.Hit("10.0.0.3", "11:50:00", "/a.htm");
  EXPECT_EQ(V("other").KnownName, "other (1 addresses, 1 pages)");
}

TEST_F(CorrectedHitTest, WithoutABoundEverybodyHasARow) {
  for (int i = 1; i < 43; ++i) rig.Hit("10.0.0." + std::to_string(i), "11:00:01", "/a.htm");
  rig.Hit("other", "11:00:02", "/a.htm");
  EXPECT_EQ(rig.t.Visitors.Count(), 43);
  EXPECT_TRUE(V("other").KnownName.empty());
}

}  // namespace
}  // namespace vantry
