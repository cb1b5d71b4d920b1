#pragma once

#include <string>
#include <string_view>

#include "core/program_log.h"

namespace vantry {

enum class BoxKind { kInformation, kWarning, kCritical };

// Ways to reach a person at the screen. No call waits for an answer when no window is there.
class Notices {
 public:
  virtual ~Notices() = default;
  virtual void MessageBox(BoxKind kind, std::string_view text) = 0;
  virtual void Beep() = 0;
  // Starts the sound file and returns at once.
  virtual void PlaySound(const std::string& path) = 0;
  virtual void LogEvent(std::string_view text, EventLevel level) = 0;
  // A line for whoever runs the program from a console or reads its journal.
  virtual void Tell(std::string_view text) = 0;
};

}  // namespace vantry
