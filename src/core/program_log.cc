#include "core/program_log.h"

namespace vantry {

void ProgramLog::WriteProgramLog(std::string_view text, bool plain) {
  std::string line;
  if (!plain) line = regional_.General(out_.now()) + " ";
  line.append(text).append("\r\n");
  out_.append(line);
}

void ProgramLog::ReportError(std::string_view description, std::string_view label, bool show_dialog) {
  const std::string message = std::string(description) + " From " + std::string(label);
  out_.beep();
  if (tables_.ServiceMode) {
    AddLogEvent(message, EventLevel::kError);
  } else if (show_dialog) {
    out_.error_box("Error!\r\n\r\n" + message +
                   "\r\n\r\nThis information has been saved in the \\Data\\error.log file.");
  }
  WriteProgramLog(message, false);
}

bool ProgramLog::Guard(std::string_view label, const std::function<Status()>& body) {
  const Status status = Attempt(body);
  if (!status.ok()) ReportError(status.text, label);
  return status.ok();
}

void ProgramLog::AddLogEvent(std::string_view text, EventLevel level) {
  out_.event_log(text, level);
  WriteProgramLog(text, false);
}

void ProgramLog::AddTrace(int16_t site, std::string_view text) {
  if (!tables_.HasWindow || site < 1 || site > tables_.SiteCount()) return;
  const SiteRec& s = tables_.Site(site);
  tables_.TraceGrid.AddRow(s.Name, s.LastReadPos, text);
}

void ProgramLog::WriteSessionStart(std::string_view version) {
  WriteProgramLog("Vantry " + std::string(version) + " Program Log - ", true);
  WriteProgramLog("Program started - " + regional_.General(out_.now()), true);
}

void ProgramLog::WriteSessionEnd() {
  WriteProgramLog("End of session------------------------------------------------------------", true);
  WriteProgramLog("", true);
}

}  // namespace vantry
