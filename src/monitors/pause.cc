#include "monitors/pause.h"

namespace vantry {

void PauseControl::SetCaption(std::string_view marks) {
  caption_ = "Vantry " + version_ + std::string(marks);
  view_.SetCaption(caption_);
}

void PauseControl::ShowRunning() {
  SetCaption(t_.ServiceMode ? " [Service Mode]" : "");
}

void PauseControl::StartTimers() {
  for (const Entry& entry : timers_) {
    if (!entry.wanted || entry.wanted()) entry.timer->Start();
  }
}

void PauseControl::StopTimers() {
  for (const Entry& entry : timers_) entry.timer->Stop();
}

void PauseControl::Pause() {
  paused_ = true;
  SetCaption(t_.ServiceMode ? " [Service Mode] [Paused]" : " [Paused]");
  StopTimers();
  log_.WriteProgramLog("Service Paused", false);
}

void PauseControl::Continue() {
  paused_ = false;
  ShowRunning();
  for (const Entry& entry : timers_) {
    if (entry.at_resume == AtResume::kAlways || !entry.wanted || entry.wanted()) entry.timer->Start();
  }
  log_.WriteProgramLog("Service Resumed", false);
}

}  // namespace vantry
