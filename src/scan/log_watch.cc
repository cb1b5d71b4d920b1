#include "scan/log_watch.h"

#include <algorithm>

#include "core/wildcard.h"
#include "scan/rotated_name.h"

namespace vantry {

LogWatch::LogWatch(ScanContext& c, ScanCycle& scan, FileWatch& watch, std::function<bool()> monitoring)
    : c_(c),
      t_(c.t),
      scan_(scan),
      watch_(watch),
      monitoring_(std::move(monitoring)),
      tick_(c.loop.NewTimer(kTickMs, [this] { Tick(); })),
      folders_timer_(c.loop.NewTimer(kFoldersMs, [this] { WatchFolders(); })) {}

void LogWatch::Start() {
  watch_.OnChange([this](const std::string& folder, const std::string& name, bool names_changed) {
    Changed(folder, name, names_changed);
  });
  WatchFolders();
  // Sites are added, links lead elsewhere, and folders that went away come back.
  folders_timer_->Start();
}

void LogWatch::Stop() {
  tick_->Stop();
  folders_timer_->Stop();
  waiting_.clear();
}

void LogWatch::WatchFolders() {
  for (int16_t n = 1; n <= t_.SiteCount(); ++n) {
    const SiteRec& site = t_.Site(n);
    if (site.FTP || site.Deleted) continue;
    WatchFolder(site.Folder, n);
    // A link in the folder may lead to a log in another.
    const size_t slash = site.LastFile.Path.rfind('/');
    if (slash == std::string::npos) continue;
    std::string folder = site.LastFile.Path.substr(0, slash + 1);
    if (folder != site.Folder) WatchFolder(folder, n);
  }
}

void LogWatch::WatchFolder(const std::string& folder, int16_t n) {
  const Status status = watch_.Watch(folder);
  if (status.ok()) {
    folders_[folder].insert(n);
  } else if (status.fail == Fail::kRefused && !limit_told_) {
    limit_told_ = true;
    c_.notices.Tell("Logs that can't be watched are read at their periods: " + status.text + ".");
  }
}

void LogWatch::Changed(const std::string& folder, const std::string& name, bool names_changed) {
  const auto sites = folders_.find(folder);
  if (sites == folders_.end() || t_.Closing || !monitoring_()) return;
  for (const int16_t n : sites->second) {
    SiteRec& site = t_.Site(n);
    // The first scan of a run has its own time.
    if (site.Rests() || site.ScanCount == 0) continue;
    const bool is_log = name.empty() || names_changed || folder != site.Folder || FitsFileMask(name, site.Mask);
    const bool is_rotated = t_.Corrected.FollowRotation &&
                            IsRotatedName(name, site.LastLogFile.substr(site.LastLogFile.rfind('/') + 1), site.Mask);
    if (!is_log && !is_rotated) continue;
    if (names_changed && !t_.Corrected.FollowRotation) site.ForceLookup = true;
    if (site.WaitsForLog) site.ForceLookup = true;
    const auto last = read_.find(n);
    const SteadyTime now = c_.clock.Steady();
    waiting_.try_emplace(n, SteadyTime{last == read_.end() ? now.ms : std::max(now.ms, last->second.ms + kApartMs)});
  }
  if (waiting_.empty() || tick_->Enabled()) return;
  Tick();
  if (!waiting_.empty()) tick_->Start();
}

// What changes during a scan is read after it.
void LogWatch::Tick() {
  if (t_.Closing || !monitoring_()) waiting_.clear();
  if (waiting_.empty()) tick_->Stop();
  if (t_.ScanInProgress) return;
  std::vector<int16_t> due;
  const SteadyTime now = c_.clock.Steady();
  for (const auto& [n, time] : waiting_) {
    if (time.ms <= now.ms) due.push_back(n);
  }
  for (const int16_t n : due) {
    if (t_.Closing || t_.ScanInProgress) return;
    waiting_.erase(n);
    scan_.ReadNow(n);
    read_[n] = c_.clock.Steady();
  }
}

}  // namespace vantry
