// The number of a visit, for lines that are read once and for lines that are read again.
#include <gtest/gtest.h>

#include "support/database_rig.h"

namespace vantry {
namespace {

struct NumberTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }
};

TEST_F(NumberTest, AVisitThatIsReadAgainKeepsItsNumber) {
  for (const char* start : {"09:00:00", "10:00:00", "11:00:00"}) {
    VisitorRec v = rig.Visit("10.0.0.1", start);
    Db().AddVisitToDatabase(v, "index.html");
  }
  rig.Visit("10.0.0.1", "09:00:00", 2);
  const VisitorRec next_day = rig.Visit("10.0.0.1", "10:00:00", 1, 6);
  EXPECT_EQ(next_day.VisitCount, 4);
  rig.t.Site(1).ReplayUntilPos = 9'999;
  EXPECT_EQ(rig.Visit("10.0.0.1", "09:00:00").VisitCount, 1);
  EXPECT_EQ(rig.Visit("10.0.0.1", "10:00:00").VisitCount, 2);
  VisitorRec third = rig.Visit("10.0.0.1", "11:00:00");
  EXPECT_EQ(third.VisitCount, 3);
  // Nothing is stored of a visit of that start: the count of all visits remains.
  EXPECT_EQ(rig.Visit("10.0.0.1", "09:30:00").VisitCount, 4);
  EXPECT_EQ(rig.Flushed("Visitor").rows[0].at("Visits"), "    4");
  // A name that arrives after the replay belongs to the same visit.
  rig.t.Site(1).ReplayUntilPos = 0;
  Db().UpdateVisitor(third, true);
  EXPECT_EQ(third.VisitCount, 3);
}

TEST_F(NumberTest, AVisitThatIsReadAgainAfterAHardStopKeepsItsNumberInTheFirstScan) {
  for (const char* start : {"09:00:00", "10:00:00"}) rig.Visit("10.0.0.1", start);
  rig.FlushInScan();
  rig.Crash();
  rig.t.Site(1).ScanCount = 1;
  EXPECT_EQ(rig.Visit("10.0.0.1", "09:00:00").VisitCount, 1);
  rig.t.Site(1).ScanCount = 2;
  EXPECT_EQ(rig.Visit("10.0.0.1", "09:00:00").VisitCount, 2);
  rig.Restart();
  rig.t.Site(1).ScanCount = 1;
  EXPECT_EQ(rig.Visit("10.0.0.1", "09:00:00").VisitCount, 1) << "an idle program may end with a stamp that is closed";
}

TEST_F(NumberTest, AVisitFromBeforeTheLastOneHasTheCountOfAllOutsideAReplay) {
  for (const char* start : {"09:00:00", "10:00:00"}) rig.Visit("10.0.0.1", start);
  EXPECT_EQ(rig.Visit("10.0.0.1", "09:00:00").VisitCount, 2);
  rig.t.Site(1).ScanCount = 1;
  EXPECT_EQ(rig.Visit("10.0.0.1", "09:00:00").VisitCount, 2) << "a first scan reads nothing again by itself";
}

}  // namespace
}  // namespace vantry
