#include "config/value_forms.h"

#include <algorithm>
#include <limits>

#include "core/text.h"

namespace vantry {

std::optional<bool> ParseBool(std::string_view text) {
  text = Trim(text);
  if (EqualsNoCase(text, "True")) return true;
  if (EqualsNoCase(text, "False")) return false;
  // A fraction is not rounded: 0.4 is not 0.
  if (const auto n = WholeNumber(text)) {
    return *n != 0 || text.find_first_of("123456789") != std::string_view::npos;
  }
  return std::nullopt;
}

std::optional<int32_t> ParseLong(std::string_view text) {
  const auto n = WholeNumber(text);
  if (!n || *n < std::numeric_limits<int32_t>::min() || *n > std::numeric_limits<int32_t>::max()) return std::nullopt;
  return static_cast<int32_t>(*n);
}

std::optional<int64_t> ParsePosition(std::string_view text) {
  return WholeNumber(text);
}

std::vector<std::string_view> TextLines(std::string_view bytes) {
  std::vector<std::string_view> lines;
  while (!bytes.empty()) {
    const size_t end = FindLineEnd(bytes);
    lines.push_back(bytes.substr(0, end));
    if (end == std::string_view::npos) break;
    const bool pair = bytes[end] == '\r' && end + 1 < bytes.size() && bytes[end + 1] == '\n';
    bytes.remove_prefix(end + (pair ? 2 : 1));
  }
  return lines;
}

std::optional<ReadProblem> LostLastLine(std::string_view bytes) {
  const auto lines = TextLines(bytes);
  const std::string_view last = lines.empty() ? std::string_view() : Trim(lines.back());
  if (last.empty()) return std::nullopt;
  return ReadProblem{static_cast<int>(lines.size()), "the file does not end with an empty line, so its last line (" +
                                                         std::string(last.substr(0, last.find('='))) +
                                                         ") was not read"};
}

std::string OneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\r', ' ');
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

std::optional<KeyValue> SplitKeyValue(std::string_view line) {
  const size_t at = line.find('=');
  if (at == std::string_view::npos) return std::nullopt;
  return KeyValue{Upper(Trim(line.substr(0, at))), line.substr(at + 1)};
}

std::string WithSeparator(std::string folder) {
  if (folder.empty() || folder.back() == '/') return folder;
  if (folder.back() == '\\') folder.pop_back();
  return folder + "/";
}

}  // namespace vantry
