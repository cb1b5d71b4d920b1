#include "platform/console_notices.h"

#include <cstdio>
#include <filesystem>

#include "platform/program_starter.h"

namespace vantry {
namespace {

// The priorities of the system log (RFC 5424, table 2).
constexpr int kError = 3, kWarning = 4, kInformation = 6;

}  // namespace

void ConsoleNotices::Line(int priority, std::string_view text) {
  std::string line;
  if (journal_) line = "<" + std::to_string(priority) + ">";
  line += "vantry: ";
  // One line for one notice; other control characters (a log's bytes may be in a text) would play with the terminal.
  bool gap = false;
  for (const char c : text) {
    if (c == '\r' || c == '\n') {
      gap = true;
      continue;
    }
    if (gap) line += ' ';
    gap = false;
    line += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
  }
  line += '\n';
  std::fputs(line.c_str(), stderr);
}

void ConsoleNotices::MessageBox(BoxKind kind, std::string_view text) {
  Line(kind == BoxKind::kCritical ? kError : kind == BoxKind::kWarning ? kWarning : kInformation, text);
}

void ConsoleNotices::PlaySound(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    if (missing_sounds_.insert(path).second) Tell("The sound file " + path + " is not there.");
    return;
  }
  for (const char* name : {"pw-play", "paplay", "aplay"}) {
    const std::string player = FindProgram(name);
    if (player.empty()) continue;
    if (StartProgram({.program = player, .arguments = {AsArgument(path)}, .silent = true}).ok()) return;
  }
}

void ConsoleNotices::LogEvent(std::string_view text, EventLevel level) {
  if (!journal_) return;
  Line(level == EventLevel::kError ? kError : level == EventLevel::kWarning ? kWarning : kInformation, text);
}

void ConsoleNotices::Tell(std::string_view text) {
  Line(kWarning, text);
}

}  // namespace vantry
