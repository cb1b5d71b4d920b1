#pragma once

#include "ports/clock.h"

namespace vantry {

// The C library's clocks; local time follows TZ.
class SystemClock final : public Clock {
 public:
  WallTime Now() const override;
  SteadyTime Steady() const override;
  int32_t UtcOffset() const override;

 private:
  mutable int64_t utc_s_ = -1;
  mutable WallTime local_;
};

}  // namespace vantry
