// What is checked after each scan: too many visitors, and none for too long.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "alerts/exceptions.h"
#include "core/exception_numbers.h"
#include "support/alert_rig.h"

namespace vantry {
namespace {

struct CheckTest : ::testing::Test {
  AlertRig rig;
  // Numbers and messages of what was raised since the last call.
  std::vector<std::string> Check(int16_t site = 1) {
    rig.exceptions.CheckExceptions(site);
    std::vector<std::string> raised;
    for (const ExceptionRow& row : rig.t.exGrid) raised.push_back(std::to_string(row.number) + " " + row.details);
    rig.t.exGrid.Clear();
    return raised;
  }
  using Raised = std::vector<std::string>;
};

TEST_F(CheckTest, ManyVisitorsAreRaisedAfterEachScan) {
  rig.t.Site(1).CurrentVisitors = 100;
  EXPECT_EQ(Check(), Raised{});
  rig.t.Site(1).CurrentVisitors = 101;
  EXPECT_EQ(Check(), Raised{"110 More than 101 active visitors"});
  EXPECT_EQ(Check(), Raised{"110 More than 101 active visitors"});
  rig.t.Site(1).CurrentVisitors = 201;
  EXPECT_EQ(Check(), (Raised{"110 More than 201 active visitors", "120 More than 201 active visitors"}));
  rig.Type(kExActiveVisitors).Raise = false;
  EXPECT_EQ(Check(), Raised{"120 More than 201 active visitors"});
}

TEST_F(CheckTest, AnEmptySiteIsToldOfEveryHour) {
  rig.clock.Advance(60 * 60);
  EXPECT_EQ(Check(), Raised{}) << "60 minutes are not more than 60";
  rig.clock.Advance(60);
  EXPECT_EQ(Check(), Raised{"122 No visitors for 60 minutes"});
  EXPECT_EQ(Check(), Raised{});
  rig.clock.Advance(61 * 60);
  EXPECT_EQ(Check(), Raised{"122 No visitors for 60 minutes"});
}

// Minutes are boundaries crossed, not sixties of seconds.
TEST_F(CheckTest, MinutesAreThoseOfTheClock) {
  rig.t.Site(1).ExLastLowCheck = {rig.clock.now.s - 1};  // 11:59:59
  rig.clock.Advance(60 * 60);
  EXPECT_EQ(Check(), Raised{"122 No visitors for 60 minutes"});
}

TEST_F(CheckTest, TheLongerOneNeverComesDueWhileTheShorterIsOn) {
  for (int minutes = 0; minutes < 600; minutes += 10) {
    rig.clock.Advance(600);
    for (const std::string& raised : Check()) EXPECT_EQ(raised.substr(0, 3), "122");
  }
  rig.Type(kExNoVisitors).Raise = false;
  rig.t.Site(1).ExLastLowCheck = rig.clock.now;
  rig.clock.Advance(121 * 60);
  EXPECT_EQ(Check(), Raised{"123 No visitors for 120 minutes"});
  EXPECT_EQ(rig.t.Site(1).ExLastHighCheck, rig.clock.now);
  // It sets the other moment back, so it is raised after each scan from now on.
  EXPECT_EQ(Check(), Raised{"123 No visitors for 120 minutes"});
}

TEST_F(CheckTest, ManyVisitorsAreRaisedOnceInAWhileWhenCorrected) {
  rig.t.Corrected.RepeatMinutes = 30;
  rig.t.Site(1).CurrentVisitors = 101;
  rig.t.Site(2).CurrentVisitors = 101;
  EXPECT_EQ(Check(), Raised{"110 More than 101 active visitors"});
  EXPECT_EQ(Check(2), Raised{"110 More than 101 active visitors"}) << "each site has a time of its own";
  rig.clock.Advance(60);
  rig.t.Site(1).CurrentVisitors = 201;
  EXPECT_EQ(Check(), Raised{"120 More than 201 active visitors"}) << "and so has each type";
  rig.clock.Advance(29 * 60 - 1);
  EXPECT_EQ(Check(), Raised{});
  rig.clock.Advance(1);
  EXPECT_EQ(Check(), Raised{"110 More than 201 active visitors"});
  // The wall clock has no say in it.
  rig.clock.now.s -= 3600;
  rig.clock.steady.ms += 60'000;
  EXPECT_EQ(Check(), Raised{"120 More than 201 active visitors"});
}

TEST_F(CheckTest, AConditionThatComesAgainIsRaisedAtOnceWhenCorrected) {
  rig.t.Corrected.RepeatMinutes = 30;
  rig.t.Site(1).CurrentVisitors = 101;
  EXPECT_EQ(Check().size(), 1u);
  rig.t.Site(1).CurrentVisitors = 100;
  EXPECT_EQ(Check(), Raised{});
  rig.t.Site(1).CurrentVisitors = 102;
  EXPECT_EQ(Check(), Raised{"110 More than 102 active visitors"});
}

TEST_F(CheckTest, WhatAnEarlierRunRaisedIsCountedAndNotRaisedAnewForARestart) {
  rig.t.Corrected.RepeatMinutes = 30;
  rig.exceptions.CountStored(1, kExActiveVisitors, {rig.Noon().s - 20 * 60}, "105", "");
  EXPECT_EQ(rig.t.Site(1).TodayExceptions, 1);
  EXPECT_EQ(rig.t.TodayExceptionCount, 1);
  EXPECT_TRUE(rig.history.rows.empty());
  rig.t.Site(1).CurrentVisitors = 101;
  EXPECT_EQ(Check(), Raised{"110 More than 105 active visitors"}) << "in the list, and not raised anew";
  rig.clock.Advance(10 * 60);
  EXPECT_EQ(Check(), Raised{"110 More than 101 active visitors"});
}

TEST_F(CheckTest, WhatCouldNotBeRaisedIsNotHeldBackWhenCorrected) {
  rig.t.Corrected.RepeatMinutes = 30;
  rig.t.Site(1).CurrentVisitors = 101;
  rig.history.ready = false;
  EXPECT_EQ(Check(), Raised{});
  rig.history.ready = true;
  EXPECT_EQ(Check(), Raised{"110 More than 101 active visitors"});
}

TEST_F(CheckTest, ASiteThatStaysEmptyIsToldOfOnceInAWhileWhenCorrected) {
  rig.t.Corrected.RepeatMinutes = 60;
  rig.Type(kExNoVisitors).Raise = false;
  rig.clock.Advance(121 * 60);
  EXPECT_EQ(Check(), Raised{"123 No visitors for 120 minutes"});
  EXPECT_EQ(Check(), Raised{});
  rig.clock.Advance(60 * 60);
  EXPECT_EQ(Check(), Raised{"123 No visitors for 120 minutes"});
  rig.t.Site(1).CurrentVisitors = 1;
  EXPECT_EQ(Check(), Raised{});
  rig.t.Site(1).CurrentVisitors = 0;
  rig.t.Site(1).ExLastLowCheck.s = rig.clock.now.s - 121 * 60;
  EXPECT_EQ(Check(), Raised{"123 No visitors for 120 minutes"});
}

// It has a time of its own: that of its threshold.
TEST_F(CheckTest, TheShorterOneKeepsItsTimeWhenCorrected) {
  rig.t.Corrected.RepeatMinutes = 600;
  for (int i = 0; i < 3; ++i) {
    rig.clock.Advance(61 * 60);
    EXPECT_EQ(Check(), Raised{"122 No visitors for 60 minutes"});
  }
}

TEST_F(CheckTest, AVisitorSetsBothMomentsBack) {
  rig.clock.Advance(3 * 3600);
  rig.t.Site(1).CurrentVisitors = 1;
  EXPECT_EQ(Check(), Raised{});
  EXPECT_EQ(rig.t.Site(1).ExLastLowCheck, rig.clock.now);
  EXPECT_EQ(rig.t.Site(1).ExLastHighCheck, rig.clock.now);
  EXPECT_NE(rig.t.Site(2).ExLastLowCheck, rig.clock.now);
}

TEST_F(CheckTest, ThresholdsThatAreNoNumbersAreToldWithTheirType) {
  rig.Type(kExActiveVisitors).Value = "many";
  EXPECT_EQ(Check(), Raised{});
  EXPECT_TRUE(Contains(rig.program_log, "CheckExceptions"));
  EXPECT_TRUE(Contains(rig.program_log, "type 110 is \"many\""));
}

TEST_F(CheckTest, ThresholdsMayBeNegativeOrWide) {
  rig.Type(kExActiveVisitors).Value = "-1";
  rig.Type(kExManyActiveVisitors).Value = "100000";
  EXPECT_EQ(Check(), Raised{"110 More than 0 active visitors"});
  rig.t.Site(1).CurrentVisitors = 100'001;
  EXPECT_EQ(Check(), (Raised{"110 More than 100001 active visitors", "120 More than 100001 active visitors"}));
  rig.Type(kExActiveVisitors).Value = "2.5";
  rig.t.Site(1).CurrentVisitors = 2;
  EXPECT_EQ(Check(), Raised{});
  rig.t.Site(1).CurrentVisitors = 3;
  EXPECT_EQ(Check(), Raised{"110 More than 3 active visitors"});
}

// 132 and 164 are in the table only.
TEST_F(CheckTest, OnlyFourTypesAreChecked) {
  for (ExceptionType& type : rig.settings.ExceptionTypes) type.Value = "-1";
  rig.t.Site(1).CurrentVisitors = 1;
  EXPECT_EQ(Check(), (Raised{"110 More than 1 active visitors", "120 More than 1 active visitors"}));
}

}  // namespace
}  // namespace vantry
