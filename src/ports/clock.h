#pragma once

#include "core/date_time.h"

namespace vantry {

// The machine's clocks. Engine code never asks the system itself.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual WallTime Now() const = 0;       // Local time; follows TZ and may jump.
  virtual SteadyTime Steady() const = 0;  // Never goes back.
  // Seconds to add to UTC for local time at this moment, daylight time included.
  virtual int32_t UtcOffset() const = 0;
  // The same at any instant, past or to come. Asked for at every line of a log, so it costs next to nothing.
  virtual int32_t UtcOffsetAt(UtcTime instant) const = 0;
};

}  // namespace vantry
