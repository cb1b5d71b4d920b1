// Tells a log's type from how it begins.
#pragma once

#include <optional>
#include <string_view>

#include "core/tables.h"

namespace vantry {

struct RecognisedLog {
  LogType type;
  bool unix_lines;        // The lines end at LF alone.
  std::string_view name;  // For people.
};

// The type of a log that begins with these bytes; empty when it is none of the six. The first lines are looked at
// alone, and a line that is cut off counts only when it says enough as it stands.
std::optional<RecognisedLog> RecogniseLog(std::string_view first_bytes);

// True when there is an LF and no CR.
bool EndsLinesWithLf(std::string_view bytes);

// The name of a log type as the program's own dialogs show it.
std::string_view LogTypeName(LogType type);

// The first line that is not blank; empty when there is none.
std::string_view FirstLine(std::string_view bytes);

}  // namespace vantry
