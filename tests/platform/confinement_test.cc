#include "platform/confinement.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(Confinement, OnlyAProfileThatIsEnforcedForbidsAnything) {
  EXPECT_EQ(EnforcedProfile("vantry (enforce)\n"), "vantry");
  EXPECT_EQ(EnforcedProfile("vantry//hat (enforce)"), "vantry//hat");
  EXPECT_EQ(EnforcedProfile("vantry (complain)\n"), "");
  EXPECT_EQ(EnforcedProfile("unconfined\n"), "");
  EXPECT_EQ(EnforcedProfile(""), "");
}

}  // namespace
}  // namespace vantry
