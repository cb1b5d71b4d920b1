// Text helpers over bytes. Case folding is ASCII: bytes above 127 pass through unchanged. Blanks are the character 32
// alone, as in the files this program reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
constexpr char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}
constexpr char UpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

// The text without blanks at both ends; a view into the argument.
constexpr std::string_view Trim(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

std::string Lower(std::string_view text);
std::string Upper(std::string_view text);
// Two digits a byte, in lower case.
std::string Hexadecimal(std::string_view bytes);
bool EqualsNoCase(std::string_view a, std::string_view b);
bool StartsWith(std::string_view text, std::string_view prefix);
constexpr bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// Where the first CR or LF is, npos if there is none. find_first_of looks its set up for each byte: many times slower
// over a whole log.
constexpr size_t FindLineEnd(std::string_view text) {
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\n' || text[at] == '\r') return at;
  }
  return std::string_view::npos;
}

// Replaces every occurrence of `from`; what is put in is not looked at again. An empty `from` changes nothing.
std::string ReplaceAll(std::string text, std::string_view from, std::string_view to);
std::string RemoveChar(std::string_view text, char c);

// All parts of the text between separators, empty ones included; an empty text is one empty part. The parts are views.
std::vector<std::string_view> Split(std::string_view text, char separator);

// The number in decimal, with leading zeros up to at least `width` digits.
std::string PadNumber(int64_t number, int width);

// The leading number of the text: blanks and a sign may precede it, reading stops at the first character that does not
// belong to a number, a fraction is dropped. 0 if there is none; clamped to the 32-bit range.
int32_t LeadingNumber(std::string_view text);

// Reads a TCP or UDP port: 1 to 5 digits and nothing else, 1 to 65535. `port` is undefined when this returns false.
bool ReadPort(std::string_view text, uint16_t& port);

// The whole text as a number, rounded to the nearest integer (halves to the even one). Empty if the text is
// not a number or is outside the 64-bit range.
std::optional<int64_t> WholeNumber(std::string_view text);

// The number, clamped to the 16-bit range.
constexpr int16_t Clamp16(int32_t n) {
  return static_cast<int16_t>(n > 32767 ? 32767 : n < -32768 ? -32768 : n);
}

// A counter of 16 bits that stays full once it is full.
constexpr void CountUp(int16_t& counter, int by = 1) {
  counter = Clamp16(counter + by);
}

}  // namespace vantry
