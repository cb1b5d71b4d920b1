// What the scan tells those who want to know it as it happens.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

struct RecordingLive final : LiveEvents {
  std::vector<std::string> calls;
  static std::string Of(const VisitorRec& v) { return " " + v.Key() + " " + v.Page + (v.Idle ? " idle" : ""); }
  void Came(const VisitorRec& v) override { calls.push_back("came" + Of(v)); }
  void Changed(const VisitorRec& v) override { calls.push_back("changed" + Of(v)); }
  void Left(const VisitorRec& v) override { calls.push_back("left" + Of(v)); }
  void AlertRaised() override { calls.emplace_back("alert"); }
  void ExceptionRaised(std::string_view address) override { calls.push_back("exception " + std::string(address)); }
  std::vector<std::string> Take() { return std::exchange(calls, {}); }
};

using Told = std::vector<std::string>;

TEST(LiveEventsTest, AVisitIsToldFromItsFirstPageToItsEnd) {
  ScanRig rig;
  RecordingLive live;
  rig.AddSite();
  rig.Ready();
  rig.t.Live = &live;
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  EXPECT_EQ(live.Take(), (Told{"came 1:10.0.0.1 a.htm"}));
  rig.Hit("10.0.0.1", "11:00:10", "/b.htm");
  EXPECT_EQ(live.Take(), (Told{"changed 1:10.0.0.1 b.htm"}));
  rig.Hit("10.0.0.1", "11:00:20", "/b.htm");     // The same page again.
  rig.Hit("10.0.0.1", "11:00:30", "/logo.gif");  // No page.
  EXPECT_EQ(live.Take(), Told());
  rig.clock.Advance(6 * 60);
  rig.scan.Visits().ScanToRemove();
  EXPECT_EQ(live.Take(), (Told{"changed 1:10.0.0.1 b.htm idle"}));
  rig.clock.Advance(6 * 60);
  rig.scan.Visits().ScanToRemove();
  EXPECT_EQ(live.Take(), (Told{"left 1:10.0.0.1 b.htm idle"}));
}

TEST(LiveEventsTest, NobodyIsToldWhereNobodyAsks) {
  ScanRig rig;
  rig.AddSite();
  rig.Ready();
  EXPECT_EQ(rig.t.Live, nullptr);
  rig.Hit("10.0.0.1", "11:00:00", "/a.htm");
  rig.clock.Advance(12 * 60);
  rig.scan.Visits().ScanToRemove();
  EXPECT_EQ(rig.t.Visitors.Count(), 0);
}

}  // namespace
}  // namespace vantry
