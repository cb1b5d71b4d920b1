#include "scan/rotated_name.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(RotatedName, IsTheLogsOwnOrFitsAMaskThatNamesMany) {
  struct Case {
    const char *name, *log, *mask;
    bool rotated;
  };
  for (const Case& c :
       {Case{"access.log.1", "access.log", "access.log", true},
        Case{"access.log.12.gz", "access.log", "access.log", true},
        Case{"access.log.gz", "access.log", "access.log", true},
        Case{"access.log-20260305", "access.log", "access.log", true},
        Case{"access.log-20260305-10.gz", "access.log", "access.log", true},
        Case{"access-20260305.log", "access.log", "access.log", true},
        Case{"access.1.log", "access.log", "access.log", true},
        Case{"access.log.old", "access.log", "access.log", true}, Case{"access.log", "access.log", "access.log", false},
        Case{"access.log.html", "access.log", "access.log", false},
        Case{"access_ssl.log", "access.log", "access.log", false},
        Case{"access1.log", "access.log", "access.log", false}, Case{"error.log.1", "access.log", "access.log", false},
        Case{"www2.log", "www1.log", "www1.log", false}, Case{"ex260304.log", "ex260305.log", "ex*.log", true},
        Case{"ex260304.log.gz", "ex260305.log", "ex*.log", true},
        Case{"error260304.log", "ex260305.log", "*.log", false},
        Case{"ex260304.log", "ex260305.log", "ex260305.log", false}, Case{"", "access.log", "*", false}}) {
    EXPECT_EQ(IsRotatedName(c.name, c.log, c.mask), c.rotated) << c.name << " of " << c.log;
  }
}

TEST(RotatedName, NumbersCountDownAndDatesUp) {
  EXPECT_TRUE(IsOlderName("access.log.10", "access.log.9"));
  EXPECT_TRUE(IsOlderName("access.log.2.gz", "access.log.1"));
  EXPECT_FALSE(IsOlderName("access.log.1", "access.log.2"));
  EXPECT_TRUE(IsOlderName("access.log-20260304", "access.log-20260305"));
  EXPECT_FALSE(IsOlderName("ex260305.log", "ex260304.log"));
}

}  // namespace
}  // namespace vantry
