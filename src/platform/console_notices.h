#pragma once

#include <set>
#include <string>

#include "ports/notices.h"

namespace vantry {

// People reached without a window: boxes and events become lines on stderr, a beep is silent, and sounds go to the
// first player that is installed. A missing sound file is reported once.
class ConsoleNotices final : public Notices {
 public:
  // `journal`: begin each event with the journal's priority prefix.
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
