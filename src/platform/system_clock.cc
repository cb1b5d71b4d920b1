#include "platform/system_clock.h"

#include <ctime>

namespace vantry {
namespace {

tm LocalTime(time_t utc) {
  tm parts{};
  ::localtime_r(&utc, &parts);
  return parts;
}

}  // namespace

WallTime SystemClock::Now() const {
  // Asked for at every page view, so the conversion is done once a second.
  const time_t utc = std::time(nullptr);
  if (utc != utc_s_) {
    const tm p = LocalTime(utc);
    const auto day = MakeDay(p.tm_year + 1900, p.tm_mon + 1, p.tm_mday).value_or(Day{});
    local_ = {day.n * kSecondsPerDay + p.tm_hour * 3600 + p.tm_min * 60 + (p.tm_sec > 59 ? 59 : p.tm_sec)};
    utc_s_ = utc;
  }
  return local_;
}

SteadyTime SystemClock::Steady() const {
  timespec t{};
  ::clock_gettime(CLOCK_MONOTONIC, &t);
  return {int64_t{t.tv_sec} * 1000 + t.tv_nsec / 1'000'000};
}

int32_t SystemClock::UtcOffset() const {
  return static_cast<int32_t>(LocalTime(std::time(nullptr)).tm_gmtoff);
}

}  // namespace vantry
