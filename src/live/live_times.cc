#include "live/live_times.h"

#include <cstdlib>

namespace vantry {
namespace {

void WriteDigits(char* at, int64_t number, int count) {
  for (int i = count - 1; i >= 0; --i) {
    at[i] = static_cast<char>('0' + number % 10);
    number /= 10;
  }
}

}  // namespace

std::string_view LiveTimes::Local(int64_t civil_seconds) {
  if (FloorDiv(civil_seconds, kSecondsPerDay) == 0) return {};
  return Write(civil_seconds, OffsetOf(civil_seconds));
}

std::string_view LiveTimes::Utc(UtcTime time) {
  const int32_t offset = clock_.UtcOffsetAt(time);
  return Write(time.s + offset, offset);
}

int64_t LiveTimes::UnixSeconds(int64_t civil_seconds) {
  constexpr int64_t kEpoch = 25'569 * kSecondsPerDay;
  return civil_seconds - OffsetOf(civil_seconds) - kEpoch;
}

// Of the two moments that a local time names when clocks are set back, one and the same is taken.
int32_t LiveTimes::OffsetOf(int64_t civil_seconds) {
  const int64_t number = FloorDiv(civil_seconds, kSpan);
  Span& span = spans_[static_cast<size_t>(number) % spans_.size()];
  if (span.number != number) {
    const int32_t guess = clock_.UtcOffsetAt({number * kSpan - clock_.UtcOffset()});
    span = {number, clock_.UtcOffsetAt({number * kSpan - guess})};
  }
  return span.offset;
}

std::string_view LiveTimes::Write(int64_t civil_seconds, int32_t offset) {
  const int64_t day = FloorDiv(civil_seconds, kSecondsPerDay);
  char* const text = text_.data();
  if (day != day_) {
    const CivilDate date = ToCivil({day});
    day_ = day;
    has_date_ = date.year >= 1 && date.year <= 9999;
    WriteDigits(text, date.year, 4);
    WriteDigits(text + 5, date.month, 2);
    WriteDigits(text + 8, date.day, 2);
  }
  if (!has_date_) return {};
  const int64_t second = civil_seconds - day * kSecondsPerDay;
  const int minutes = std::abs(offset) / 60;
  text[4] = text[7] = '-';
  text[10] = 'T';
  WriteDigits(text + 11, second / 3600, 2);
  WriteDigits(text + 14, second / 60 % 60, 2);
  WriteDigits(text + 17, second % 60, 2);
  text[13] = text[16] = text[22] = ':';
  text[19] = offset < 0 ? '-' : '+';
  WriteDigits(text + 20, minutes / 60, 2);
  WriteDigits(text + 23, minutes % 60, 2);
  return {text, text_.size()};
}

}  // namespace vantry
