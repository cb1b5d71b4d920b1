// The scan's side of following a log through renames and replacements.
#include <algorithm>
#include <span>
#include <utility>

#include "scan/log_follower.h"
#include "scan/scan_cycle.h"

namespace vantry {

// Two changes within one tick of the file system's clock look like one, so a change counts at two looks.
bool ScanCycle::FolderChanged(int16_t n) {
  SiteRec& site = t_.Site(n);
  FileLook look;
  if (!c_.files.Look(site.Folder, look).ok()) return false;
  int64_t written = look.written_ns;
  // A link may lead to a log in another folder.
  const std::string& path = site.LastFile.Path;
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  if (!folder.empty() && folder != site.Folder && c_.files.Look(folder, look).ok()) written ^= look.written_ns;
  if (written != site.FolderWritten) {
    site.FolderWritten = written;
    site.FolderSettled = false;
    return true;
  }
  return !std::exchange(site.FolderSettled, true);
}

// What is unpacked on the way to a place takes its time.
void ScanCycle::PassOver(LogFile& file, int64_t to) {
  SteadyTime last_yield = c_.clock.Steady();
  std::vector<char> passed(LineReader::kBlock);
  size_t count = 1;
  for (int64_t at = 0; at < to && count > 0 && !t_.Closing; at += static_cast<int64_t>(count)) {
    const auto wanted = static_cast<size_t>(std::min<int64_t>(to - at, LineReader::kBlock));
    if (!file.ReadAt(at, std::span<char>(passed).first(wanted), count).ok()) return;
    Yield(last_yield);
  }
}

Status ScanCycle::ReadFollowedLog(int16_t n) {
  const bool replay = HasReplay(t_.Site(n));
  if (first_reading_ && !replay) BeginDayOfLog(t_.Site(n));
  LogFollower follower(c_.files, t_, n, {replay, folder_changed_});
  for (;;) {
    LogFollower::Step step;
    if (Status status = follower.Next(step); !status.ok()) {
      return t_.Corrected.WaitForLog && status.fail == Fail::kNotFound ? WaitForLog(n, status.text) : status;
    }
    if (!step.file) {
      t_.Site(n).FolderWritten = 0;  // Names were changing: all is looked at once more.
      ended_early_ = true;
      return Status::Ok();
    }
    if (step.packed) PassOver(*step.file, std::max<int64_t>(t_.Site(n).LastReadPos - 1, 0));
    if (t_.Closing) return Status::Ok();
    if (!step.replay) t_.Site(n).ReplayUntilPos = 0;  // A place of the file before.
    if (Status status = ReadFile(n, *step.file, step.replay, step.packed); !status.ok()) return status;
    if (t_.Closing || next_day_met_) return Status::Ok();
    follower.HasRead(step);
    if (step.last) return Status::Ok();
  }
}

}  // namespace vantry
