// How the program reports on itself: the program log TRL.LOG, the error routine that every handler calls with its own
// label, the system's event log and the on-screen trace.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/date_time.h"
#include "core/regional.h"
#include "core/status.h"
#include "core/tables.h"

namespace vantry {

enum class EventLevel { kError = 1, kWarning = 2, kInformation = 4 };

// What the log needs from outside. Every call may do nothing; none may fail.
struct ProgramLogOutlets {
  std::function<WallTime()> now;
  std::function<void(std::string_view bytes)> append;  // Adds bytes to TRL.LOG, opening and closing it; errors ignored.
  std::function<void()> beep;
  std::function<void(std::string_view text)> error_box;
  std::function<void(std::string_view text, EventLevel level)> event_log;
};

class ProgramLog {
 public:
  ProgramLog(LiveTables& tables, const Regional& regional, ProgramLogOutlets outlets)
      : tables_(tables), regional_(regional), out_(std::move(outlets)) {}

  // Plain: the text alone; otherwise preceded by date and time.
  void WriteProgramLog(std::string_view text, bool plain);

  // Reports a failure under the routine's label: a beep, a line in TRL.LOG, in service mode an event log entry as well,
  // and a box only when `show_dialog` is set and it is not a service. The caller leaves its routine afterwards.
  void ReportError(std::string_view description, std::string_view label, bool show_dialog = false);

  // The rule "report under the routine's label and leave": runs `body` (returning Status) and reports its failure.
  // Returns whether it went well. An exception from the standard library counts as a failure with its own text.
  bool Guard(std::string_view label, const std::function<Status()>& body);

  // Event log entry with this level, then a stamped line.
  void AddLogEvent(std::string_view text, EventLevel level);

  // One row in the trace: site name, its LastReadPos, the text. Nothing for a site that is not in the table.
  void AddTrace(int16_t site, std::string_view text);

  // First and last lines of a session.
  void WriteSessionStart(std::string_view version);
  void WriteSessionEnd();

 private:
  LiveTables& tables_;
  const Regional& regional_;
  ProgramLogOutlets out_;
};

}  // namespace vantry
