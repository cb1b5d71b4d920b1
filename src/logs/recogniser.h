// Tells a log's format from how it begins.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

struct RecognisedLog {
  LogType type;
  bool unix_lines;  // The lines end at LF alone.
};

// Returns the format of a log that begins with these bytes; empty when it is none that the program reads. Only the
// first lines are looked at. A line that is cut off counts only when it says enough as it is. `quoted_fields`: whether
// the lines of NCSA logs will be read by their quotes, which takes more of them.
std::optional<RecognisedLog> RecogniseLog(std::string_view first_bytes, bool quoted_fields = false);

// Reads as much of a log as telling its format takes.
Status ReadFirstBytes(LogFile& file, std::string& bytes);

// Returns whether there is an LF and no CR.
bool EndsLinesWithLf(std::string_view bytes);

// Returns the first line that is not blank; empty when there is none.
std::string_view FirstLine(std::string_view bytes);

}  // namespace vantry
