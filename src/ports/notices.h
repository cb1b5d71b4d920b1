#pragma once

#include <string>
#include <string_view>

#include "core/program_log.h"

namespace vantry {

enum class BoxKind { kInformation, kWarning, kCritical };

// Ways to reach a person at the screen. Without a window no call waits for an answer.
class Notices {
 public:
  virtual ~Notices() = default;
  virtual void MessageBox(BoxKind kind, std::string_view text) = 0;
  virtual void Beep() = 0;
  // Starts the sound file and returns at once.
  virtual void PlaySound(const std::string& path) = 0;
  virtual void LogEvent(std::string_view text, EventLevel level) = 0;
  // A line for people who run the program from a console or read its journal.
  virtual void Tell(std::string_view text) = 0;
};

}  // namespace vantry
