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

  // What a resume does with a timer that the start would leave off.
  enum class AtResume : uint8_t { kAsWanted, kAlways };

  // A timer that the start and a resume start, as long as `wanted` says so (always, when empty), and a pause stops.
  void AddTimer(Timer& timer, std::function<bool()> wanted = {}, AtResume at_resume = AtResume::kAsWanted) {
    timers_.push_back({&timer, std::move(wanted), at_resume});
  }

  void StartTimers();
  void StopTimers();
  void Pause();
  void Continue();

  // "Vantry", a blank, the version, and the marks of the state.
  const std::string& Caption() const { return caption_; }
  bool Paused() const { return paused_; }
  // Sets the caption for the running state.
  void ShowRunning();
  // The caption of a service that has just started; its mark is another one than after a pause.
  void ShowService() { SetCaption(" (Service Mode)"); }

 private:
  struct Entry {
    Timer* timer;
    std::function<bool()> wanted;
    AtResume at_resume;
  };
  void SetCaption(std::string_view marks);

  const LiveTables& t_;
  ProgramLog& log_;
  View& view_;
  std::string version_, caption_;
  std::vector<Entry> timers_;
  bool paused_ = false;
};

}  // namespace vantry
