// The program ends, or the power goes, at each call of a busy day: what was flushed is there, nothing is mixed, and the
// day goes on.
#include <gtest/gtest.h>

#include "support/busy_day.h"

namespace vantry {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr unsigned kSeeds = 3;
#else
constexpr unsigned kSeeds = 25;
#endif

// Ends the day at this call, looks at the tables that a restart leaves, and goes on to its end. False when the day has
// fewer calls.
bool EndAndGoOn(int call, int part, std::mt19937* power) {
  BusyDay day;
  day.EndAt(call, part);
  day.Run();
  if (!day.ended) day.FlushAll();
  const bool ended = day.ended;
  day.Restart(power);
  EXPECT_TRUE(day.Db().DatabaseReady()) << day.rig.program_log;
  day.Db().FlushAll();  // Rows that were cut are marked by now.
  EXPECT_EQ(day.Check(), "");
  EXPECT_EQ(day.CheckKeys(), "");
  day.Run();
  day.StopAndStart();
  EXPECT_EQ(day.Check(), "");
  day.rig.program_log.clear();
  EXPECT_TRUE(day.Db().DatabaseReady());
  EXPECT_EQ(day.rig.program_log, "");
  EXPECT_EQ(day.CheckKeys(), "");
  return ended;
}

// The calls of a day, first to last: whether each is a write, which may be done in part.
std::vector<bool> CallsOfTheDay() {
  BusyDay day;
  std::vector<bool> writes;
  day.rig.disk.breaks = [&](const std::string& call) {
    writes.push_back(call.starts_with("write "));
    return int64_t{-2};
  };
  day.rig.index.fails = [&](const std::string&) {
    writes.push_back(false);
    return false;
  };
  day.Run();
  return writes;
}

TEST(CrashTest, TheProgramMayEndAtAnyCall) {
  const std::vector<bool> writes = CallsOfTheDay();
  ASSERT_GT(std::count(writes.begin(), writes.end(), true), 100);
  for (size_t i = 0; i < writes.size(); ++i) {
    for (int part = 0; part < (writes[i] ? 5 : 1); ++part) {
      ASSERT_TRUE(EndAndGoOn(static_cast<int>(i) + 1, part, nullptr));
      ASSERT_FALSE(::testing::Test::HasFailure()) << "call " << i + 1 << ", part " << part;
    }
  }
}

TEST(CrashTest, ThePowerMayGoAtAnyCall) {
  const size_t calls = CallsOfTheDay().size();
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    for (size_t i = 0; i < calls; ++i) {
      std::mt19937 power(seed * 10'000 + static_cast<unsigned>(i));
      ASSERT_TRUE(EndAndGoOn(static_cast<int>(i) + 1, static_cast<int>(seed % 5), &power));
      ASSERT_FALSE(::testing::Test::HasFailure()) << "call " << i + 1 << ", seed " << seed;
    }
  }
}

}  // namespace
}  // namespace vantry
