// The forms in which values stand in the configuration files, read strictly or leniently as each key demands, and the
// line structure that the files share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// "True" or "False" in any case, or a number (0 is false). Anything else is not a bool.
std::optional<bool> ParseBool(std::string_view text);
constexpr std::string_view BoolText(bool b) {
  return b ? "True" : "False";
}

// A whole number of 32 or 64 bits; the text must convert as a whole.
std::optional<int32_t> ParseLong(std::string_view text);
std::optional<int64_t> ParsePosition(std::string_view text);

// The lines of a text file: each ends at CR LF, at LF or at a lone CR. An end of line at the very end of the file adds
// no further empty line.
std::vector<std::string_view> TextLines(std::string_view bytes);

// The text with a blank for each CR and LF: a line end inside a value would make lines of its own in a file.
std::string OneLine(std::string text);

struct KeyValue {
  std::string key;  // Upper-cased, blanks cut at both ends.
  std::string_view value;
};

// Splits a line at its first "=". The value is everything after it, unchanged. Empty without a "=".
std::optional<KeyValue> SplitKeyValue(std::string_view line);

// Why the reading of a configuration file stopped early. What was read up to that line is kept.
struct ReadProblem {
  int line = 0;  // 1-based.
  std::string text;
};

// What readers lose of a file that does not end with an empty line: they never process the last one. Empty when nothing
// is lost. The text names the key and not the value, which may be a password.
std::optional<ReadProblem> LostLastLine(std::string_view bytes);

// A folder path that ends in a separator. Either separator is accepted; a missing one is added as "/".
std::string WithSeparator(std::string folder);

}  // namespace vantry
