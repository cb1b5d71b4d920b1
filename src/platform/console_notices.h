#pragma once

#include <set>
#include <string>

#include "ports/notices.h"

namespace vantry {

// People reached without a window: boxes and events become lines on stderr, a beep is silent, and sounds go to the
// first player that is installed. A sound file that is missing is told once.
class ConsoleNotices final : public Notices {
 public:
  // `journal`: put the journal's priority prefix in front of each event.
  explicit ConsoleNotices(bool journal) : journal_(journal) {}

  void MessageBox(BoxKind kind, std::string_view text) override;
  void Beep() override {}
  void PlaySound(const std::string& path) override;
  void LogEvent(std::string_view text, EventLevel level) override;
  void Tell(std::string_view text) override;

 private:
  void Line(int priority, std::string_view text);
  bool journal_;
  std::set<std::string> missing_sounds_;  // Told.
};

}  // namespace vantry
