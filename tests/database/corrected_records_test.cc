// What corrections change about the rows of visits.
#include <gtest/gtest.h>

#include "support/database_rig.h"

namespace vantry {
namespace {

struct CorrectedRecordTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }
};

TEST_F(CorrectedRecordTest, AnAlertOfALaterPageIsStoredWithTheEndOfItsVisit) {
  const auto stored = [&](const std::string& ip) {
    VisitorRec v = rig.Visit(ip);
    v.AlertRaised = true;
    v.AlertNo = 7;
    Db().UpdateVisitInDatabase(v);
    const auto row = rig.Flushed("Visits").rows.back();
    return row.at("Alert") + row.at("AlertNo");
  };
  EXPECT_EQ(stored("10.0.0.1"), "N  0") << "classic";
  rig.t.Corrected.TestEveryPage = true;
  EXPECT_EQ(stored("10.0.0.2"), "Y  7");
}

}  // namespace
}  // namespace vantry
