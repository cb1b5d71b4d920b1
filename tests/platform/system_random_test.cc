#include "platform/system_random.h"

#include <set>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(SystemRandom, DrawsAsManyBytesAsWereAskedForAndNeverTheSame) {
  SystemRandom random;
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    std::string bytes = "old";
    ASSERT_TRUE(random.Draw(16, bytes).ok());
    EXPECT_EQ(bytes.size(), 16u);
    seen.insert(bytes);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace vantry
