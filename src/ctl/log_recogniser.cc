#include "ctl/log_recogniser.h"

#include <algorithm>
#include <string>
#include <vector>

#include "config/value_forms.h"
#include "core/date_time.h"
#include "core/text.h"

namespace vantry {
namespace {

// A log may begin in the middle of a line that was rotated away, so the first line alone does not decide.
constexpr size_t kLinesToTry = 20;

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

bool HasName(const std::vector<std::string_view>& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(), [&](std::string_view n) { return EqualsNoCase(Trim(n), name); });
}

std::optional<LogType> TypeOfFields(std::string_view text) {
  const bool tabs = Contains(text, "\t");
  const std::string blanks = ReplaceAll(std::string(text), "\t", " ");
  const auto names = Split(blanks, ' ');
  if (HasName(names, "action") && HasName(names, "protocol") && HasName(names, "dst-ip")) return LogType::kFirewall;
  if (tabs && HasName(names, "c-agent") && HasName(names, "cs-uri")) return LogType::kISA;
  if (HasName(names, "time") && HasName(names, "c-ip") && HasName(names, "cs-uri-stem")) return LogType::kW3C;
  return std::nullopt;
}

std::optional<LogType> TypeOfHeader(std::string_view line) {
  const std::string upper = Upper(line);
  if (StartsWith(upper, "#FIELDS:")) return TypeOfFields(line.substr(8));
  const bool firewall = Contains(upper, "WINDOWS FIREWALL") || Contains(upper, "INTERNET CONNECTION FIREWALL");
  if (StartsWith(upper, "#SOFTWARE:") && firewall) return LogType::kFirewall;
  return std::nullopt;
}

std::optional<LogType> TypeOfCommaLine(std::string_view line) {
  const auto fields = Split(line, ',');
  const auto date_and_time_at = [&](size_t place) {
    return ParseMonthFirstDate(Trim(fields[place]), '/') && ParseTime(Trim(fields[place + 1]));
  };
  if (fields.size() >= 14 && date_and_time_at(2)) return LogType::kIIS;
  if (fields.size() >= 19 && date_and_time_at(4)) return LogType::kProxy;
  return std::nullopt;
}

bool AllDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

// The part behind the request: status and bytes, then perhaps more.
bool IsStatusAndBytes(std::string_view text) {
  const auto words = Split(text, ' ');
  return words.size() >= 2 && words[0].size() == 3 && AllDigits(words[0]) && (words[1] == "-" || AllDigits(words[1]));
}

// host ident user [dd/Mon/yyyy:hh:mm:ss zone] "request" status bytes
bool IsNcsaLine(std::string_view line) {
  const size_t open = line.find(" [");
  const size_t close = line.find("] \"");
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return false;
  const auto words = Split(line.substr(0, open), ' ');
  if (words.size() != 3 || words[0].empty() || words[1].empty() || words[2].empty()) return false;
  const std::string_view stamp = line.substr(open + 2, close - open - 2);
  if (stamp.size() < 20 || stamp[11] != ':' || !ParseNamedMonthDate(stamp.substr(0, 11))) return false;
  if (!ParseTime(stamp.substr(12, 8))) return false;
  // A request may hold quotes of its own, so each closing quote is tried.
  const std::string_view rest = line.substr(close + 3);
  for (size_t at = rest.find("\" "); at != std::string_view::npos; at = rest.find("\" ", at + 1)) {
    if (IsStatusAndBytes(rest.substr(at + 2))) return true;
  }
  return false;
}

std::optional<LogType> TypeOfLine(std::string_view line, bool complete) {
  // A cut header could lack the very names that tell one type from another.
  if (line.front() == '#') return complete ? TypeOfHeader(line) : std::nullopt;
  if (IsNcsaLine(line)) return LogType::kNCSA;
  return TypeOfCommaLine(line);
}

}  // namespace

bool EndsLinesWithLf(std::string_view bytes) {
  return Contains(bytes, "\n") && !Contains(bytes, "\r");
}

std::string_view LogTypeName(LogType type) {
  switch (type) {
    case LogType::kW3C:
      return "W3C Extended";
    case LogType::kIIS:
      return "IIS Log File Format";
    case LogType::kNCSA:
      return "NCSA Common/Combined";
    case LogType::kProxy:
      return "MS Proxy Server Log Format";
    case LogType::kFirewall:
      return "WindowsXP Firewall";
    case LogType::kISA:
      return "MS ISA Server";
  }
  return "unknown";
}

std::string_view FirstLine(std::string_view bytes) {
  for (const std::string_view line : TextLines(bytes)) {
    if (!IsBlank(line)) return line;
  }
  return {};
}

std::optional<RecognisedLog> RecogniseLog(std::string_view first_bytes) {
  if (first_bytes.empty() || Contains(first_bytes, std::string_view("\0", 1))) return std::nullopt;
  const bool last_complete = first_bytes.back() == '\n' || first_bytes.back() == '\r';
  const auto lines = TextLines(first_bytes);
  size_t tried = 0;
  for (size_t i = 0; i < lines.size() && tried < kLinesToTry; ++i) {
    if (IsBlank(lines[i])) continue;
    ++tried;
    if (const auto type = TypeOfLine(lines[i], last_complete || i + 1 < lines.size())) {
      return RecognisedLog{*type, EndsLinesWithLf(first_bytes), LogTypeName(*type)};
    }
  }
  return std::nullopt;
}

}  // namespace vantry
