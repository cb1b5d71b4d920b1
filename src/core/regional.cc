#include "core/regional.h"

#include <array>

#include "core/text.h"

namespace vantry {
namespace {

// The run of one letter that starts at `at`.
size_t RunLength(std::string_view pattern, size_t at) {
  size_t n = 1;
  while (at + n < pattern.size() && pattern[at + n] == pattern[at]) ++n;
  return n;
}

// The order of the three date parts in the pattern, as letters: "Mdy", "dMy", "yMd".
std::string DateOrder(std::string_view pattern) {
  std::string order;
  for (char c : pattern) {
    if ((c == 'd' || c == 'M' || c == 'y') && order.find(c) == std::string::npos) order += c;
  }
  return order.size() == 3 ? order : "Mdy";
}

}  // namespace

std::string Regional::ShortDate(Day day) const {
  const CivilDate c = ToCivil(day);
  std::string out;
  for (size_t at = 0; at < short_date.size();) {
    const size_t n = RunLength(short_date, at);
    const int width = static_cast<int>(n > 1 ? 2 : 1);
    switch (short_date[at]) {
      case 'd':
        out += PadNumber(c.day, width);
        break;
      case 'M':
        out += PadNumber(c.month, width);
        break;
      case 'y':
        out += n > 2 ? PadNumber(c.year, 4) : PadNumber(c.year % 100, 2);
        break;
      default:
        out.append(short_date, at, n);
    }
    at += n;
  }
  return out;
}

std::string Regional::Time(int32_t second_of_day) const {
  const int hour = second_of_day / 3600;
  const bool halves = Contains(time, "AM/PM");
  std::string out;
  for (size_t at = 0; at < time.size();) {
    if (halves && StartsWith(std::string_view(time).substr(at), "AM/PM")) {
      out += hour < 12 ? "AM" : "PM";
      at += 5;
      continue;
    }
    const size_t n = RunLength(time, at);
    const int width = static_cast<int>(n > 1 ? 2 : 1);
    switch (time[at]) {
      case 'h':
        out += PadNumber(halves ? (hour + 11) % 12 + 1 : hour, width);
        break;
      case 'H':
        out += PadNumber(hour, width);
        break;
      case 'm':
        out += PadNumber(second_of_day / 60 % 60, width);
        break;
      case 's':
        out += PadNumber(second_of_day % 60, width);
        break;
      default:
        out.append(time, at, n);
    }
    at += n;
  }
  return out;
}

std::optional<Day> Regional::ParseDate(std::string_view text) const {
  text = Trim(text);
  std::array<std::string_view, 3> parts;
  size_t count = 0;
  for (size_t at = 0; at < text.size();) {
    const size_t begin = at;
    while (at < text.size() && IsDigit(text[at])) ++at;
    if (at == begin || at - begin > 4 || count == 3) return std::nullopt;
    parts[count++] = text.substr(begin, at - begin);
    const size_t gap = at;
    while (at < text.size() && (text[at] == '/' || text[at] == '-' || text[at] == '.' || text[at] == ' ')) ++at;
    if (at < text.size() && at == gap) return std::nullopt;
  }
  if (count != 3) return std::nullopt;
  const std::string order = parts[0].size() == 4 ? "yMd" : DateOrder(short_date);
  int year = 0, month = 0, day = 0;
  for (size_t i = 0; i < 3; ++i) {
    const int n = LeadingNumber(parts[i]);
    if (order[i] == 'y') year = parts[i].size() <= 2 ? FullYear(n) : n;
    if (order[i] == 'M') month = n;
    if (order[i] == 'd') day = n;
  }
  return MakeDay(year, month, day);
}

std::optional<LogTime> Regional::ParseStamp(std::string_view text) const {
  text = Trim(text);
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    const auto day = ParseDate(text);
    return day ? std::optional(MakeLogTime(*day, 0)) : std::nullopt;
  }
  const size_t blank = text.rfind(' ', colon);
  const auto second = ParseTime(blank == std::string_view::npos ? text : text.substr(blank + 1));
  if (!second) return std::nullopt;
  const std::string_view date = blank == std::string_view::npos ? std::string_view() : Trim(text.substr(0, blank));
  if (date.empty()) return MakeLogTime(Day{}, *second);
  const auto day = ParseDate(date);
  return day ? std::optional(MakeLogTime(*day, *second)) : std::nullopt;
}

}  // namespace vantry
