#include "platform/system_clock.h"

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

// The zone of the process while this lives.
class Zone {
 public:
  explicit Zone(const char* name) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    ::setenv("TZ", name, 1);
    ::tzset();
  }
  ~Zone() {
    if (before_.empty()) {
      ::unsetenv("TZ");
    } else {
      ::setenv("TZ", before_.c_str(), 1);
    }
    ::tzset();
  }

 private:
  std::string before_;
};

UtcTime At(int year, int month, int day, std::string_view time) {
  return {MakeDay(year, month, day)->n * kSecondsPerDay + *ParseTime(time)};
}

TEST(SystemClock, OffsetAtAnInstantFollowsTheZone) {
  struct OffsetCase {
    const char* zone;
    UtcTime instant;
    int32_t offset;
  };
  for (const OffsetCase& c : {OffsetCase{"UTC", At(2026, 7, 1, "12:00:00"), 0},
                              OffsetCase{"Europe/Berlin", At(2026, 3, 29, "00:59:59"), 3600},
                              OffsetCase{"Europe/Berlin", At(2026, 3, 29, "01:00:00"), 7200},
                              OffsetCase{"Europe/Berlin", At(2026, 10, 25, "00:59:59"), 7200},
                              OffsetCase{"Europe/Berlin", At(2026, 10, 25, "01:00:00"), 3600},
                              OffsetCase{"Asia/Kolkata", At(2026, 1, 1, "00:00:00"), 19800},
                              OffsetCase{"Pacific/Kiritimati", At(2026, 1, 1, "00:00:00"), 14 * 3600},
                              OffsetCase{"Australia/Lord_Howe", At(2026, 4, 4, "14:59:59"), 11 * 3600},
                              OffsetCase{"Australia/Lord_Howe", At(2026, 4, 4, "15:00:00"), 10 * 3600 + 1800},
                              // This one changed at a minute after midnight.
                              OffsetCase{"America/St_Johns", At(2009, 3, 8, "03:30:59"), -12600},
                              OffsetCase{"America/St_Johns", At(2009, 3, 8, "03:31:00"), -9000}}) {
    const Zone zone(c.zone);
    EXPECT_EQ(SystemClock().UtcOffsetAt(c.instant), c.offset) << c.zone << " " << c.instant.s;
  }
}

TEST(SystemClock, OffsetIsTheSameInWhateverOrderInstantsComeUp) {
  for (const char* name : {"Europe/Berlin", "America/St_Johns", "Australia/Lord_Howe"}) {
    const Zone zone(name);
    const SystemClock one;
    const UtcTime begin = At(2009, 3, 1, "00:00:00");
    for (int64_t i = 0; i < 60'000; ++i) {
      const UtcTime instant{begin.s + i * 7919 % (270 * kSecondsPerDay)};
      ASSERT_EQ(one.UtcOffsetAt(instant), SystemClock().UtcOffsetAt(instant)) << name << " " << instant.s;
    }
  }
}

TEST(SystemClock, OffsetNowIsThatOfTheInstant) {
  const Zone zone("Asia/Kathmandu");
  const SystemClock clock;
  EXPECT_EQ(clock.UtcOffset(), 20700);
  EXPECT_EQ(clock.UtcOffsetAt({clock.Now().s - clock.UtcOffset()}), 20700);
}

}  // namespace
}  // namespace vantry
