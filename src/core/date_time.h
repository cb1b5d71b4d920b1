// Dates and times. Log time and wall clock are different types that never convert by accident: log time comes from the
// lines of a log, wall clock from the machine. Both count local civil seconds, so a zero value is midnight of
// 30 December 1899, which is what an unset date-time shows everywhere.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

inline constexpr int64_t kSecondsPerDay = 86400;

// A calendar date: days since 30 December 1899.
struct Day {
  int64_t n = 0;
  auto operator<=>(const Day&) const = default;
};

struct CivilDate {
  int year = 1899, month = 12, day = 30;
};

// Civil seconds of a log line's clock.
struct LogTime {
  int64_t s = 0;
  auto operator<=>(const LogTime&) const = default;
};

// Civil seconds of UTC: one for each instant, whatever a zone makes of it.
struct UtcTime {
  int64_t s = 0;
  auto operator<=>(const UtcTime&) const = default;
};

// Civil seconds of the machine's clock, in local time. May jump.
struct WallTime {
  int64_t s = 0;
  auto operator<=>(const WallTime&) const = default;
};

// Milliseconds of a clock that never goes back. For periods only.
struct SteadyTime {
  int64_t ms = 0;
  auto operator<=>(const SteadyTime&) const = default;
};

constexpr int64_t FloorDiv(int64_t a, int64_t b) {
  return a / b - ((a % b != 0 && (a % b < 0) != (b < 0)) ? 1 : 0);
}

// Whole minutes from `from` to `to`: the number of minute boundaries crossed, negative when `to` is earlier.
// 10:00:59 to 10:01:00 is 1; 10:00:00 to 10:00:59 is 0. Every "minutes between" of the program goes through here.
constexpr int64_t MinutesBetween(LogTime from, LogTime to) {
  return FloorDiv(to.s, 60) - FloorDiv(from.s, 60);
}
constexpr int64_t MinutesBetween(WallTime from, WallTime to) {
  return FloorDiv(to.s, 60) - FloorDiv(from.s, 60);
}
constexpr int64_t MinutesBetween(UtcTime from, UtcTime to) {
  return FloorDiv(to.s, 60) - FloorDiv(from.s, 60);
}

template <class T>
constexpr Day DayOf(T t) {
  return {FloorDiv(t.s, kSecondsPerDay)};
}
template <class T>
constexpr int32_t SecondOfDay(T t) {
  return static_cast<int32_t>(t.s - FloorDiv(t.s, kSecondsPerDay) * kSecondsPerDay);
}
constexpr LogTime MakeLogTime(Day day, int32_t second_of_day) {
  return {day.n * kSecondsPerDay + second_of_day};
}

// A day of the Gregorian calendar, which counts backwards too; empty if there is no such date (30 February, month 13)
// or the year is outside -32767 to 32767.
std::optional<Day> MakeDay(int year, int month, int day);
// For days that MakeDay can make.
CivilDate ToCivil(Day day);

// "hh:mm:ss" of seconds since midnight, 0 to 86399.
std::string FormatTime(int32_t second_of_day);
// "yyyymmdd", the form of a date in table keys.
std::string FormatDayKey(Day day);

// Two-digit years mean 1930 to 2029; other years are unchanged.
constexpr int FullYear(int year) {
  return year < 0 || year > 99 ? year : year < 30 ? 2000 + year : 1900 + year;
}

// 1 to 12 for an English month name or its first three letters, in any case; 0 for anything else.
int MonthFromName(std::string_view name);

// Seconds since midnight of "h:mm", "h:mm:ss", with an optional fraction of the second (dropped) and an optional
// " AM" or " PM". Empty if the text is not a time of day.
std::optional<int32_t> ParseTime(std::string_view text);

// The date of an NCSA log, "10/Oct/2002"; also accepts "10-Oct-2002". Empty if it is not a date.
std::optional<Day> ParseNamedMonthDate(std::string_view text);

// Three numbers separated by `separator` in the order year, month, day or month, day, year.
std::optional<Day> ParseYearFirstDate(std::string_view text, char separator);
std::optional<Day> ParseMonthFirstDate(std::string_view text, char separator);

}  // namespace vantry
