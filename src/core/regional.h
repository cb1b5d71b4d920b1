// The machine's short date and time formats, as people chose them, for files and pages that carry dates as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/date_time.h"

namespace vantry {

// Patterns of d, dd, M, MM, yy, yyyy (date) and h, hh, H, HH, m, mm, s, ss, AM/PM (time); anything else stands for
// itself. h counts to 12 when AM/PM is in the pattern, to 24 otherwise.
struct Regional {
  std::string short_date = "M/d/yyyy";
  std::string time = "h:mm:ss AM/PM";

  std::string ShortDate(Day day) const;
  std::string Time(int32_t second_of_day) const;

  // The general form of a date-time: short date, a blank, the time.
  template <class T>
  std::string General(T t) const {
    return ShortDate(DayOf(t)) + " " + Time(SecondOfDay(t));
  }
  // The form in files: short date, a blank, "hh:mm:ss".
  template <class T>
  std::string Stamp(T t) const {
    return ShortDate(DayOf(t)) + " " + FormatTime(SecondOfDay(t));
  }

  // Reads the form in files back. A date alone means midnight, a time alone 30 December 1899. The order of
  // day, month and year is the pattern's; a four-digit first number is a year in any case. Empty when it is neither.
  std::optional<LogTime> ParseStamp(std::string_view text) const;
  std::optional<Day> ParseDate(std::string_view text) const;
};

}  // namespace vantry
