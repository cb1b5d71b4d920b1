#include "core/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace vantry {

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = LowerAscii(c);
  return out;
}

std::string Upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = UpperAscii(c);
  return out;
}

std::string Hexadecimal(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text.append({kDigits[byte >> 4], kDigits[byte & 15]});
  }
  return text;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
  size_t found = from.empty() ? std::string::npos : text.find(from);
  if (found == std::string::npos) return text;
  std::string out;
  size_t begin = 0;
  for (; found != std::string::npos; found = text.find(from, begin)) {
    out.append(text, begin, found - begin).append(to);
    begin = found + from.size();
  }
  return out.append(text, begin);
}

std::string RemoveChar(std::string_view text, char c) {
  std::string out(text);
  std::erase(out, c);
  return out;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t at = text.find(separator);
    parts.push_back(text.substr(0, at));
    if (at == std::string_view::npos) return parts;
    text.remove_prefix(at + 1);
  }
}

std::string PadNumber(int64_t number, int width) {
  char digits[20];
  const bool negative = number < 0;
  const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
  const auto count = std::to_chars(digits, digits + sizeof digits, magnitude).ptr - digits;
  std::string text(negative ? "-" : "");
  if (count < width) text.append(static_cast<size_t>(width - count), '0');
  return text.append(digits, static_cast<size_t>(count));
}

int32_t LeadingNumber(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  int64_t n = 0;
  constexpr int64_t kMax = std::numeric_limits<int32_t>::max();
  for (; i < text.size() && IsDigit(text[i]); ++i) n = std::min(kMax + 1, n * 10 + (text[i] - '0'));
  return static_cast<int32_t>(negative ? -n : std::min(n, kMax));
}

bool ReadPort(std::string_view text, uint16_t& port) {
  if (text.empty() || text.size() > 5 || !std::all_of(text.begin(), text.end(), IsDigit)) return false;
  const int32_t number = LeadingNumber(text);
  port = static_cast<uint16_t>(number);
  return number >= 1 && number <= 65'535;
}

std::optional<int64_t> WholeNumber(std::string_view text) {
  text = Trim(text);
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') return std::nullopt;
  }
  if (text.empty()) return std::nullopt;
  int64_t whole = 0;
  const char* end = text.data() + text.size();
  if (const auto r = std::from_chars(text.data(), end, whole); r.ec == std::errc() && r.ptr == end) return whole;
  // "inf" and "nan" are numbers to from_chars but to nobody else.
  if (text.find_first_not_of("0123456789.eE+-") != std::string_view::npos) return std::nullopt;
  double d = 0;
  const auto r = std::from_chars(text.data(), end, d);
  if (r.ec != std::errc() || r.ptr != end || std::fabs(d) > 9.2e18) return std::nullopt;
  return static_cast<int64_t>(std::nearbyint(d));
}

}  // namespace vantry
