// Times for other programs: RFC 3339 with the zone's offset at that time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/date_time.h"
#include "ports/clock.h"

namespace vantry {

class LiveTimes {
 public:
  explicit LiveTimes(const Clock& clock) : clock_(clock) {}

  // "2026-11-22T19:05:07+00:00" of local civil seconds; empty for a time that was never set, has no day or is outside
  // the years 1 to 9999. Holds until the next call.
  std::string_view Local(int64_t civil_seconds);
  std::string_view Utc(UtcTime time);
  // The same instant in seconds since 1970.
  int64_t UnixSeconds(int64_t civil_seconds);

 private:
  // Zones change at quarters of an hour.
  static constexpr int64_t kSpan = 900;
  struct Span {
    int64_t number = INT64_MIN;
    int32_t offset = 0;
  };
  int32_t OffsetOf(int64_t civil_seconds);
  std::string_view Write(int64_t civil_seconds, int32_t offset);

  const Clock& clock_;
  std::array<Span, 16> spans_;
  int64_t day_ = INT64_MIN;  // Whose date stands in the text.
  bool has_date_ = false;
  std::array<char, 25> text_{};
};

}  // namespace vantry
