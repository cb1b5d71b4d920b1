#pragma once

#include "ports/clock.h"

namespace vantry {

// The C library's clocks; local time follows TZ.
class SystemClock final : public Clock {
 public:
  WallTime Now() const override;
  SteadyTime Steady() const override;
  int32_t UtcOffset() const override;
  int32_t UtcOffsetAt(UtcTime instant) const override;

 private:
  mutable int64_t utc_s_ = -1;  // What the next two are of.
  mutable WallTime local_;
  mutable int32_t offset_ = 0;
  mutable int64_t span_begin_ = 0;  // Seconds since 1970 from which on the offset below holds for a kSpan.
  mutable int32_t span_offset_ = 0;
  mutable bool span_known_ = false;
};

}  // namespace vantry
