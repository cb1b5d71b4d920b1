#include "scan/rotated_name.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

#include "core/text.h"
#include "core/wildcard.h"

namespace vantry {
namespace {

constexpr std::string_view kSeparators = "-_.+:~";

bool IsSeparator(char c) {
  return kSeparators.find(c) != std::string_view::npos;
}

// ".1", "-20260305", ".2026-03-05_12"; "" as well.
bool IsNumberPart(std::string_view text) {
  if (text.empty()) return true;
  return IsSeparator(text.front()) &&
         std::all_of(text.begin(), text.end(), [](char c) { return IsDigit(c) || IsSeparator(c); });
}

std::string_view WithoutGz(std::string_view name) {
  if (name.ends_with(".gz")) name.remove_suffix(3);
  return name;
}

std::string WithoutNumbers(std::string_view name) {
  std::string text(name);
  std::erase_if(text, [](char c) { return IsDigit(c) || IsSeparator(c); });
  return text;
}

int64_t LastNumber(std::string_view name) {
  size_t begin = name.size();
  while (begin > 0 && IsDigit(name[begin - 1])) --begin;
  int64_t number = -1;
  std::from_chars(name.data() + begin, name.data() + name.size(), number);
  return number;
}

}  // namespace

bool IsRotatedName(std::string_view name, std::string_view log, std::string_view mask) {
  const std::string_view plain = WithoutGz(name);
  if (name == log) return false;
  if (StartsWith(plain, log)) {
    const std::string_view rest = plain.substr(log.size());
    return IsNumberPart(rest) || rest == ".old" || rest == ".bak" || rest == ".prev";
  }
  const size_t dot = log.rfind('.');
  if (dot != std::string_view::npos && dot > 0 && StartsWith(plain, log.substr(0, dot)) &&
      plain.ends_with(log.substr(dot)) && plain.size() > log.size()) {
    if (IsNumberPart(plain.substr(dot, plain.size() - log.size()))) return true;
  }
  return mask.find_first_of("*?") != std::string_view::npos && FitsFileMask(plain, mask) &&
         WithoutNumbers(plain) == WithoutNumbers(log);
}

bool IsOlderName(std::string_view a, std::string_view b) {
  constexpr int64_t kMostNumber = 9'999;
  a = WithoutGz(a);
  b = WithoutGz(b);
  const int64_t number_a = LastNumber(a), number_b = LastNumber(b);
  const bool numbered = number_a >= 0 && number_b >= 0 && number_a <= kMostNumber && number_b <= kMostNumber;
  if (numbered && a.size() - std::to_string(number_a).size() == b.size() - std::to_string(number_b).size()) {
    return number_a > number_b;
  }
  return a < b;
}

}  // namespace vantry
