#include "core/date_time.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "core/text.h"

namespace vantry {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr sys_days kDayZero{std::chrono::December / 30 / 1899};

constexpr std::array<std::string_view, 12> kMonths = {"january",   "february", "march",    "april",
                                                      "may",       "june",     "july",     "august",
                                                      "september", "october",  "november", "december"};

// An unsigned number of 1 to `max_digits` digits that fills the whole text; -1 otherwise.
int SmallNumber(std::string_view text, size_t max_digits) {
  if (text.empty() || text.size() > max_digits) return -1;
  int n = 0;
  for (char c : text) {
    if (!IsDigit(c)) return -1;
    n = n * 10 + (c - '0');
  }
  return n;
}

// The first three parts of the text between separators; further parts count for nothing.
bool SplitThree(std::string_view text, char separator, std::array<std::string_view, 3>& parts) {
  for (int i = 0; i < 2; ++i) {
    const size_t at = text.find(separator);
    if (at == std::string_view::npos) return false;
    parts[i] = Trim(text.substr(0, at));
    text.remove_prefix(at + 1);
  }
  parts[2] = Trim(text.substr(0, text.find(separator)));
  return true;
}

std::optional<Day> DayFromTexts(std::string_view year, std::string_view month, std::string_view day) {
  const int y = SmallNumber(year, 4);
  const int m = SmallNumber(month, 2);
  const int d = SmallNumber(day, 2);
  if (y < 0 || m < 0 || d < 0) return std::nullopt;
  return MakeDay(year.size() <= 2 ? FullYear(y) : y, m, d);
}

}  // namespace

std::optional<Day> MakeDay(int year, int month, int day) {
  if (month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
  const year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                            std::chrono::day(static_cast<unsigned>(day))};
  if (static_cast<int>(date.year()) != year || !date.ok()) return std::nullopt;
  return Day{(sys_days(date) - kDayZero).count()};
}

CivilDate ToCivil(Day day) {
  const year_month_day date{kDayZero + days(day.n)};
  return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day()))};
}

std::string FormatTime(int32_t s) {
  std::string out = "00:00:00";
  const int h = s / 3600, m = s / 60 % 60, sec = s % 60;
  out[0] = static_cast<char>('0' + h / 10);
  out[1] = static_cast<char>('0' + h % 10);
  out[3] = static_cast<char>('0' + m / 10);
  out[4] = static_cast<char>('0' + m % 10);
  out[6] = static_cast<char>('0' + sec / 10);
  out[7] = static_cast<char>('0' + sec % 10);
  return out;
}

std::string FormatDayKey(Day day) {
  const CivilDate c = ToCivil(day);
  return PadNumber(c.year, 4) + PadNumber(c.month, 2) + PadNumber(c.day, 2);
}

int MonthFromName(std::string_view name) {
  if (name.size() < 3) return 0;
  for (size_t i = 0; i < kMonths.size(); ++i) {
    if (EqualsNoCase(name, kMonths[i]) || (name.size() == 3 && EqualsNoCase(name, kMonths[i].substr(0, 3)))) {
      return static_cast<int>(i) + 1;
    }
  }
  return 0;
}

std::optional<int32_t> ParseTime(std::string_view text) {
  text = Trim(text);
  // The form of nearly every log line, without a detour.
  if (text.size() == 8 && text[2] == ':' && text[5] == ':') {
    const int h = SmallNumber(text.substr(0, 2), 2), m = SmallNumber(text.substr(3, 2), 2),
              s = SmallNumber(text.substr(6, 2), 2);
    if (h < 0 || m < 0 || s < 0 || h > 23 || m > 59 || s > 59) return std::nullopt;
    return h * 3600 + m * 60 + s;
  }
  int half = -1;
  if (text.size() > 2 &&
      (EqualsNoCase(text.substr(text.size() - 2), "AM") || EqualsNoCase(text.substr(text.size() - 2), "PM"))) {
    half = LowerAscii(text[text.size() - 2]) == 'p' ? 1 : 0;
    text = Trim(text.substr(0, text.size() - 2));
  }
  const size_t dot = text.find('.');
  if (dot != std::string_view::npos) {
    for (char c : text.substr(dot + 1)) {
      if (!IsDigit(c)) return std::nullopt;
    }
    text = text.substr(0, dot);
  }
  const size_t first = text.find(':');
  if (first == std::string_view::npos) return std::nullopt;
  const size_t second = text.find(':', first + 1);
  if (second == std::string_view::npos && dot != std::string_view::npos) return std::nullopt;
  int h = SmallNumber(text.substr(0, first), 2);
  const int m = SmallNumber(text.substr(first + 1, second == std::string_view::npos ? second : second - first - 1), 2);
  const int s = second == std::string_view::npos ? 0 : SmallNumber(text.substr(second + 1), 2);
  if (h < 0 || m < 0 || s < 0 || h > 23 || m > 59 || s > 59) return std::nullopt;
  if (half >= 0) {
    if (h < 1 || h > 12) return std::nullopt;
    h = h % 12 + 12 * half;
  }
  return h * 3600 + m * 60 + s;
}

std::optional<Day> ParseNamedMonthDate(std::string_view text) {
  std::array<std::string_view, 3> p;
  text = Trim(text);
  const char separator = Contains(text, "/") ? '/' : '-';
  if (std::count(text.begin(), text.end(), separator) != 2 || !SplitThree(text, separator, p)) return std::nullopt;
  const int d = SmallNumber(p[0], 2), m = MonthFromName(p[1]), y = SmallNumber(p[2], 4);
  if (d < 0 || m == 0 || y < 0) return std::nullopt;
  return MakeDay(p[2].size() <= 2 ? FullYear(y) : y, m, d);
}

std::optional<Day> ParseYearFirstDate(std::string_view text, char separator) {
  std::array<std::string_view, 3> p;
  if (!SplitThree(Trim(text), separator, p)) return std::nullopt;
  return DayFromTexts(p[0], p[1], p[2]);
}

std::optional<Day> ParseMonthFirstDate(std::string_view text, char separator) {
  std::array<std::string_view, 3> p;
  if (!SplitThree(Trim(text), separator, p)) return std::nullopt;
  return DayFromTexts(p[2], p[0], p[1]);
}

}  // namespace vantry
