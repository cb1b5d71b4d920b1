// When the first scans of a run begin.
#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace vantry {
namespace {

struct QuickStartTest : EngineTest {
  void StartWith(bool corrected) {
    Sites(40);
    if (corrected) files.Put("/home/registry.ini", "[Corrections]\r\nQuickStart=True\r\n");
    files.Put("/logs/access.log",
              "10.0.0.1 - - [05/Mar/2026:11:00:00 +0000] \"GET /a.htm HTTP/1.0\" 200 1 \"-\" \"B\"\n");
    ASSERT_TRUE(Start());
  }
  int Scanned() {
    int n = 0;
    for (const SiteRec& site : engine->Tables().Sites) n += site.ScanCount;
    return n;
  }
};

TEST_F(QuickStartTest, AllSitesAreScannedAsSoonAsTheLoopTurns) {
  StartWith(true);
  EXPECT_EQ(Scanned(), 0) << "the port listens first";
  loop.Tick(0);
  EXPECT_EQ(Scanned(), 40);
  loop.Tick(0);
  loop.Tick(ScanCycle::kTimer1Ms);
  EXPECT_EQ(Scanned(), 40) << "after that each has its period again";
  clock.Advance(11);
  loop.Tick(ScanCycle::kTimer1Ms);
  EXPECT_EQ(Scanned(), 80);
}

TEST_F(QuickStartTest, APauseThatComesFirstHolds) {
  StartWith(true);
  engine->Pause();
  loop.Tick(0);
  EXPECT_EQ(Scanned(), 0);
}

TEST_F(QuickStartTest, ClassicFirstScansAreTwoSecondsApart) {
  StartWith(false);
  loop.Tick(0);
  EXPECT_EQ(Scanned(), 0);
  clock.Advance(7);
  loop.Tick(ScanCycle::kTimer1Ms);
  EXPECT_EQ(Scanned(), 3);
}

}  // namespace
}  // namespace vantry
