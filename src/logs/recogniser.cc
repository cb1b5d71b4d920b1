#include "logs/recogniser.h"

#include <span>

#include "config/value_forms.h"
#include "core/text.h"
#include "logs/formats.h"

namespace vantry {
namespace {

// A log may begin in the middle of a line that was rotated away, so the first line alone does not decide.
constexpr size_t kLinesToTry = 20;
constexpr size_t kFirstBytes = 64 * 1024;

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

std::optional<LogType> TypeOfLine(std::string_view line, bool complete, bool quoted_fields) {
  const bool header = line.front() == '#';
  // A header that is cut could lack the very names that tell one format from another.
  if (header && !complete) return std::nullopt;
  for (const LogFormat& format : Formats()) {
    if (header == format.header.empty()) continue;
    if (format.recognise(line) || (format.quoted && quoted_fields && IsQuotedNcsaLine(line))) return format.type;
  }
  return std::nullopt;
}

}  // namespace

Status ReadFirstBytes(LogFile& file, std::string& bytes) {
  bytes.resize(kFirstBytes);
  size_t filled = 0, count = 0;
  Status status;
  do {
    const std::span<char> rest(bytes.data() + filled, bytes.size() - filled);
    status = file.ReadAt(static_cast<int64_t>(filled), rest, count);
    filled += count;
  } while (status.ok() && count > 0 && filled < bytes.size());
  bytes.resize(filled);
  return status;
}

bool EndsLinesWithLf(std::string_view bytes) {
  return Contains(bytes, "\n") && !Contains(bytes, "\r");
}

std::string_view FirstLine(std::string_view bytes) {
  for (const std::string_view line : TextLines(bytes)) {
    if (!IsBlank(line)) return line;
  }
  return {};
}

std::optional<RecognisedLog> RecogniseLog(std::string_view first_bytes, bool quoted_fields) {
  if (first_bytes.empty() || Contains(first_bytes, std::string_view("\0", 1))) return std::nullopt;
  const bool last_complete = first_bytes.back() == '\n' || first_bytes.back() == '\r';
  const auto lines = TextLines(first_bytes);
  size_t tried = 0;
  for (size_t i = 0; i < lines.size() && tried < kLinesToTry; ++i) {
    if (IsBlank(lines[i])) continue;
    ++tried;
    if (const auto type = TypeOfLine(lines[i], last_complete || i + 1 < lines.size(), quoted_fields)) {
      return RecognisedLog{*type, EndsLinesWithLf(first_bytes)};
    }
  }
  return std::nullopt;
}

}  // namespace vantry
