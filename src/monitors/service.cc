#include "monitors/service.h"

#include <algorithm>

#include "config/registry_store.h"
#include "config/value_forms.h"
#include "core/date_time.h"

namespace vantry {

void Service::WriteRunning(bool running) {
  WriteRegistryValue(c_.registry, "Settings", "ServiceRunning", std::string(BoolText(running)));
}

// The loop is not turned in between: there is no window to be drawn anew, and a first scan that waits in the loop
// would keep the manager waiting for "ready".
void Service::RunAsService() {
  c_.t.ServiceMode = true;
  c_.view.Hide();
  c_.log.AddLogEvent("Vantry Service Was Started", EventLevel::kInformation);
  c_.pause.ShowService();
  WriteRunning(true);
}

void Service::Start() {
  if (!HasManager()) return;
  const Status status = Attempt([this] {
    RunAsService();
    return Status::Ok();
  });
  if (!status.ok()) {
    c_.t.ServiceMode = false;
    WriteRunning(false);
    c_.log.ReportError(status.text, "SvcIt_Start");
  }
  // In any case: the engine runs, and a manager that is not told would end it.
  c_.manager->TellReady();
  WatchTheLoop();
}

// The signs of life come from a timer of the loop, so that there are none when the loop does not turn.
void Service::WatchTheLoop() {
  if (const int64_t limit_ms = c_.manager->WatchdogMs(); limit_ms > 0) {
    alive_timer_ = c_.loop.NewTimer(std::max<int64_t>(limit_ms / 2, 1), [this] { c_.manager->TellAlive(); });
    alive_timer_->Start();
  }
  status_timer_ = c_.loop.NewTimer(kStatusMs, [this] { TellStatus(); });
  status_timer_->Start();
  TellStatus();
}

void Service::Stop() {
  if (c_.t.Closing) return;
  if (c_.t.ServiceMode) {
    WriteRunning(false);
    c_.log.AddLogEvent("Vantry Service Was Stopped", EventLevel::kInformation);
  }
  c_.end_session();
}

void Service::Pause() {
  c_.pause.Pause();
  TellStatus();
}

void Service::Continue() {
  c_.pause.Continue();
  TellStatus();
}

void Service::Control(int code) {
  if (code == kShow) c_.view.Show();
  if (code == kHide) c_.view.Hide();
}

void Service::Ending() {
  if (HasManager()) {
    c_.manager->TellStopping();
    status_timer_ = nullptr;
  }
  WriteRunning(false);
}

void Service::TellStatus() {
  if (!HasManager() || c_.t.Closing) return;
  std::string text = StatusText();
  if (text == told_) return;
  c_.manager->TellStatus(text);
  told_ = std::move(text);
}

std::string Service::StatusText() const {
  const auto counted = [](int64_t n, const char* what) { return std::to_string(n) + " " + what + (n == 1 ? "" : "s"); };
  int paused = 0;
  WallTime last;
  for (const SiteRec& site : c_.t.Sites) {
    if (site.Rests()) ++paused;
    // Until its first scan has ended, a site has a time from which the scan is due.
    const bool scanned = site.ScanCount > 1 || (site.ScanCount == 1 && !site.Scanning);
    if (scanned) last = std::max(last, site.LastScanTime);
  }
  std::string text = c_.pause.Paused() ? "paused, " : "";
  text += counted(c_.t.SiteCount(), "site");
  if (paused > 0) text += " (" + std::to_string(paused) + " paused)";
  text += ", " + counted(static_cast<int64_t>(c_.t.Visitors.Count()), "visitor");
  return text + (last == WallTime{} ? ", no scan yet" : ", last scan " + FormatTime(SecondOfDay(last)));
}

}  // namespace vantry
