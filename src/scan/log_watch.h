// Reads local logs as soon as they change. The periods of the sites stay for what nobody tells of: remote logs and
// mounts.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ports/file_watch.h"
#include "ports/loop.h"
#include "scan/scan_context.h"
#include "scan/scan_cycle.h"

namespace vantry {

class LogWatch {
 public:
  // A site's scans are this far apart at least.
  static constexpr int64_t kApartMs = 100;
  // While a change waits for its scan.
  static constexpr int64_t kTickMs = 10;
  static constexpr int64_t kFoldersMs = 5'000;

  LogWatch(ScanContext& c, ScanCycle& scan, FileWatch& watch, std::function<bool()> monitoring);

  // Watches the folders of all local logs from now on.
  void Start();
  void Stop();

 private:
  void WatchFolders();
  void WatchFolder(const std::string& folder, int16_t site);
  void Changed(const std::string& folder, const std::string& name, bool names_changed);
  void Tick();

  ScanContext& c_;
  LiveTables& t_;
  ScanCycle& scan_;
  FileWatch& watch_;
  std::function<bool()> monitoring_;
  std::unique_ptr<Timer> tick_, folders_timer_;
  std::map<std::string, std::set<int16_t>> folders_;  // The sites of each watched folder.
  std::map<int16_t, SteadyTime> waiting_;             // Sites that changed, and when each may be read.
  std::map<int16_t, SteadyTime> read_;                // The end of each site's last scan from here.
  bool limit_told_ = false;
};

}  // namespace vantry
