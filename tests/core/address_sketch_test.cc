#include "core/address_sketch.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(AddressSketch, CountsDifferentTexts) {
  AddressSketch sketch;
  EXPECT_EQ(sketch.Count(), 0);
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 100; ++i) sketch.Add("10.0.0." + std::to_string(i));
  }
  EXPECT_NEAR(static_cast<double>(sketch.Count()), 100, 3);
  for (const int many : {5'000, 12'000, 100'000, 1'000'000}) {
    AddressSketch big;
    for (int i = 0; i < many; ++i) big.Add("2001:db8::" + std::to_string(i));
    // Four standard errors.
    EXPECT_NEAR(static_cast<double>(big.Count()), many, 0.064 * many) << many;
  }
}

}  // namespace
}  // namespace vantry
