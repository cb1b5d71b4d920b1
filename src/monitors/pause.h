// Pausing and resuming the whole program, and the window caption that shows it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/program_log.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "ports/loop.h"

namespace vantry {

class PauseControl {
 public:
  PauseControl(const LiveTables& tables, ProgramLog& log, View& view, std::string version)
      : t_(tables), log_(log), view_(view), version_(std::move(version)) {}

  // A timer that a pause stops and a resume starts, as long as `wanted` says so (always, when empty).
  void AddTimer(Timer& timer, std::function<bool()> wanted = {}) { timers_.push_back({&timer, std::move(wanted)}); }

  void StartTimers();
  void StopTimers();
  void Pause();
  void Continue();

  // "Vantry", a blank, the version, and the marks of the state.
  const std::string& Caption() const { return caption_; }
  // Sets the caption for the running state.
  void ShowRunning();

 private:
  struct Entry {
    Timer* timer;
    std::function<bool()> wanted;
  };
  void SetCaption(std::string_view marks);

  const LiveTables& t_;
  ProgramLog& log_;
  View& view_;
  std::string version_, caption_;
  std::vector<Entry> timers_;
};

}  // namespace vantry
