#include "platform/system_clock.h"

#include <ctime>

namespace vantry {
namespace {

// Zones change at quarters of an hour; the few that ever changed in between are asked anew for each instant there.
constexpr int64_t kSpan = 900;

tm LocalTime(time_t utc) {
  tm parts{};
  ::localtime_r(&utc, &parts);
  return parts;
}

int32_t OffsetAt(int64_t utc) {
  return static_cast<int32_t>(LocalTime(utc).tm_gmtoff);
}

}  // namespace

WallTime SystemClock::Now() const {
  // Asked for at every page view, so the conversion is done once a second.
  const time_t utc = std::time(nullptr);
  if (utc != utc_s_) {
    const tm p = LocalTime(utc);
    const auto day = MakeDay(p.tm_year + 1900, p.tm_mon + 1, p.tm_mday).value_or(Day{});
    local_ = {day.n * kSecondsPerDay + p.tm_hour * 3600 + p.tm_min * 60 + (p.tm_sec > 59 ? 59 : p.tm_sec)};
    offset_ = static_cast<int32_t>(p.tm_gmtoff);
    utc_s_ = utc;
  }
  return local_;
}

SteadyTime SystemClock::Steady() const {
  timespec t{};
  ::clock_gettime(CLOCK_MONOTONIC, &t);
  return {int64_t{t.tv_sec} * 1000 + t.tv_nsec / 1'000'000};
}

// Asked for at every line that tells its zone.
int32_t SystemClock::UtcOffset() const {
  (void)Now();
  return offset_;
}

// The lines of a log lie close together in time, so the span of the last one is kept.
int32_t SystemClock::UtcOffsetAt(UtcTime instant) const {
  constexpr int64_t kEpoch = 25'569 * kSecondsPerDay;  // 1 January 1970.
  const int64_t utc = instant.s - kEpoch;
  if (span_known_ && utc >= span_begin_ && utc - span_begin_ < kSpan) return span_offset_;
  const int64_t begin = FloorDiv(utc, kSpan) * kSpan;
  span_offset_ = OffsetAt(begin);
  span_known_ = OffsetAt(begin + kSpan - 1) == span_offset_;
  span_begin_ = begin;
  return span_known_ ? span_offset_ : OffsetAt(utc);
}

}  // namespace vantry
