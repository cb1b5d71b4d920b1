#include "web/guess_brake.h"

#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(GuessBrake, AnswersWaitFromTheEleventhWrongTryOfAnAddress) {
  GuessBrake brake;
  std::vector<int64_t> waits;
  for (int i = 0; i < 18; ++i) waits.push_back(brake.Try("10.0.0.1", "name" + std::to_string(i), false, {0}) / 1000);
  EXPECT_EQ(waits, (std::vector<int64_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 4, 8, 16, 30, 30, 30}));
  EXPECT_EQ(brake.Try("10.0.0.1", "a", true, {0}), 30'000) << "or one could tell it from the wrong ones at once";
  EXPECT_EQ(brake.Try("10.0.0.2", "a", false, {0}), 0);
}

TEST(GuessBrake, WrongAnswersForANameWaitAndTheRightOneFromElsewhereDoesNot) {
  GuessBrake brake;
  for (int i = 0; i < 40; ++i) brake.Try("10.0.1." + std::to_string(i), "admin", false, {0});
  EXPECT_EQ(brake.Try("10.0.0.2", "admin", false, {0}), 30'000);
  EXPECT_EQ(brake.Try("10.0.0.2", "admin", true, {0}), 0);
  EXPECT_EQ(brake.Try("10.0.0.2", "other", false, {0}), 0);
}

TEST(GuessBrake, EachQuietMinuteTakesAwayOneTry) {
  GuessBrake brake;
  for (int i = 0; i < 100; ++i) brake.Try("10.0.0.1", std::to_string(i), false, {0});
  const auto wait = [&](int64_t ms) { return brake.Try("10.0.0.1", "a", true, {ms}) / 1000; };
  EXPECT_EQ(wait(59'999), 30);
  EXPECT_EQ(wait(60'000), 16) << "more than 15 are not counted";
  EXPECT_EQ(wait(5 * 60'000), 1);
  EXPECT_EQ(wait(6 * 60'000), 0);
  EXPECT_EQ(brake.Try("10.0.0.1", "x", false, {6 * 60'000}), 0);
  EXPECT_EQ(wait(6 * 60'000), 1) << "ten are counted again";
  EXPECT_EQ(brake.Try("10.0.0.1", "y", false, {30 * 60'000}), 0);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(brake.Try("10.0.0.1", "y", false, {30 * 60'000}), 0) << "all was forgotten";
  EXPECT_EQ(wait(30 * 60'000), 1);
}

TEST(GuessBrake, MemoryIsBoundedAndAGuesserIsNotPushedOut) {
  GuessBrake brake;
  for (int i = 0; i < 20; ++i) brake.Try("10.0.0.1", "admin", false, {0});
  for (int i = 0; i < 10'000; ++i) {
    brake.Try("192.0." + std::to_string(i / 250) + "." + std::to_string(i % 250),
              std::string(200, 'x') + std::to_string(i), false, {i});
    if (i % 100 == 0) brake.Try("192.1." + std::to_string(i), std::to_string(i), false, {i});
  }
  EXPECT_LE(brake.Kept(), 2 * GuessBrake::kMostKept);
  EXPECT_EQ(brake.Try("10.0.0.1", "z", true, {10'000}), 30'000);
}

TEST(GuessBrake, ANetworkOfIpv6IsOneGuesser) {
  EXPECT_EQ(GuesserOf("192.0.2.1"), "192.0.2.1");
  EXPECT_EQ(GuesserOf("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2:");
  EXPECT_EQ(GuesserOf("2001:db8:1:2::6"), "2001:db8:1:2:");
  EXPECT_EQ(GuesserOf("2001:db8::6"), "2001:db8:0:0:");
  EXPECT_EQ(GuesserOf("2001:db8::1:2:3:4:5"), "2001:db8:0:1:");
  EXPECT_EQ(GuesserOf("::1"), "0:0:0:0:");
  EXPECT_EQ(GuesserOf("1:2:3::192.0.2.1"), "1:2:3:0:");
  EXPECT_EQ(GuesserOf("1:2:3:4:5:6:192.0.2.1"), "1:2:3:4:");
  EXPECT_EQ(GuesserOf("::"), "0:0:0:0:");
  EXPECT_EQ(GuesserOf(":"), "::");
}

}  // namespace
}  // namespace vantry
