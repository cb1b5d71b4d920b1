#include "scan/log_follower.h"

#include <algorithm>
#include <span>
#include <utility>

#include "scan/log_start.h"

namespace vantry {
namespace {

constexpr size_t kMostLeft = 200;
constexpr int kMostLate = 16;  // Writers let go of a renamed log soon.
constexpr int kMostSteps = 1000;
constexpr int kMostTries = 3;

// The place after the last whole line.
int64_t EndOfLines(LogFile& file, int64_t size) {
  constexpr int64_t kPiece = 64 * 1024;
  std::string block;
  for (int64_t end = size; end > 0; end -= kPiece) {
    const int64_t begin = std::max<int64_t>(end - kPiece, 0);
    block.resize(static_cast<size_t>(end - begin));
    size_t count = 0;
    if (!file.ReadAt(begin, std::span<char>(block), count).ok()) return 0;
    const size_t at = std::string_view(block).substr(0, count).rfind('\n');
    if (at != std::string::npos) return begin + static_cast<int64_t>(at) + 1;
  }
  return 0;
}

}  // namespace

void BeginDayOfLog(ReadState& state) {
  state.LastReadPosDay = state.LastReadPos;
  for (LeftLog& left : state.LeftLogs) left.DayPos = 0;
  // A later one may still be met under its name, and must be known then.
  std::erase_if(state.LeftLogs, [&](const LeftLog& left) {
    return left.Done && left.File.WrittenNs < state.FollowedNs - kTimeSlackNs;
  });
}

LogFollower::LogFollower(Files& files, LiveTables& tables, int16_t site, How how)
    : files_(files), t_(tables), n_(site), how_(how) {
  if (!how_.replay || Site().LastFile.Inode == 0) return;
  for (const LeftLog& left : Site().LeftLogs) {
    if (left.DayPos > 0 && left.DayPos < left.ReadPos) to_replay_.push_back(left.File);
  }
  if (Site().LastReadPos > 0) to_replay_.push_back(Site().LastFile);
}

LogFileId& LogFollower::FileOf(int log) {
  return log == kCurrent ? Site().LastFile : Site().LeftLogs[static_cast<size_t>(log)].File;
}

int64_t LogFollower::PlaceIn(int log) {
  return log == kCurrent ? Site().LastReadPos : Site().LeftLogs[static_cast<size_t>(log)].ReadPos;
}

bool LogFollower::Open(const std::string& path, Found& found) {
  found = {};
  found.path = path;
  found.packed = IsPackedName(path) && path != Site().LastLogFile;
  const Status opened = found.packed ? files_.OpenUnpacked(path, found.file) : files_.OpenLog(path, found.file);
  if (!opened.ok()) return false;
  found.start.resize(kStartBytes);
  size_t count = 0;
  if (!found.file->Look(found.look).ok() || !found.file->ReadAt(0, std::span<char>(found.start), count).ok()) {
    found = {};
    return false;
  }
  found.start.resize(count);
  return true;
}

bool LogFollower::OpenListed(const Listed& listed, Found& found) {
  if (!Open(listed.path, found) && !Open(listed.path, found)) {
    unsettled_ = !files_.Exists(listed.path);  // Otherwise it is for nobody's eyes.
    return false;
  }
  unsettled_ = found.look.inode != listed.entry.inode;  // It has just been renamed.
  found.fresh = IsFresh(listed.entry);
  found.rotated = IsRotated(listed.entry.name);
  return !unsettled_;
}

size_t LogFollower::PlaceOf(const LogFileId& id) {
  const auto& left = Site().LeftLogs;
  return static_cast<size_t>(
      std::find_if(left.begin(), left.end(), [&](const LeftLog& l) { return SameFile(l.File, id); }) - left.begin());
}

void LogFollower::AddLeft(LeftLog left) {
  auto& all = Site().LeftLogs;
  all.push_back(std::move(left));
  if (all.size() <= kMostLeft) return;
  auto least = std::find_if(all.begin(), all.end(), [](const LeftLog& l) { return l.ReadPos == 0; });
  if (least == all.end()) {
    least = std::find_if(all.begin(), all.end(), [](const LeftLog& l) { return l.Done && l.DayPos == 0; });
  }
  all.erase(least == all.end() ? all.begin() : least);
}

// Of a file without a whole line only its growth is watched; it is read as a new one then.
void LogFollower::Leave() {
  SiteRec& site = Site();
  const LogFileId& id = site.LastFile;
  if (id.Inode == 0) return;
  if (site.LastReadPos > 0) {
    AddLeft({id, site.LastReadPos, site.LastReadPosDay, current_done_});
  } else if (!current_done_ && !(named_.file && SameInode(id, named_.look.device, named_.look.inode))) {
    Watch(id);
  }
}

void LogFollower::Watch(const LogFileId& file) {
  std::erase_if(Site().LeftLogs, [&](const LeftLog& left) {
    return left.ReadPos == 0 && SameInode(left.File, file.Device, file.Inode);
  });
  AddLeft({file, 0, 0, false});
}

void LogFollower::GoBackTo(size_t place) {
  SiteRec& site = Site();
  const LeftLog left = site.LeftLogs[place];
  site.LeftLogs.erase(site.LeftLogs.begin() + static_cast<std::ptrdiff_t>(place));
  Leave();
  site.LastFile = left.File;
  site.LastReadPos = left.ReadPos;
  site.LastReadPosDay = left.DayPos;
}

void LogFollower::HandOut(Found& found, Step& step) {
  LogFileId& id = Site().LastFile;
  id.Device = found.look.device;
  id.Inode = found.look.inode;
  id.WrittenNs = found.look.written_ns;
  id.Path = found.look.path;
  KnowBy(found.start, id);
  current_done_ = found.packed;
  handed_out_bytes_ = found.look.size_bytes;  // Before it is read: what is added meanwhile is looked for once more.
  step.file = std::move(found.file);
  step.packed = found.packed;
}

void LogFollower::SwitchTo(Found& found, Step& step) {
  SiteRec& site = Site();
  visited_.push_back(found.look.inode);
  std::erase_if(site.LeftLogs, [&](const LeftLog& left) {
    return left.ReadPos == 0 && SameInode(left.File, found.look.device, found.look.inode);
  });
  const int log = LogOf(found);
  if (log >= 0) {
    GoBackTo(static_cast<size_t>(log));
  } else if (log == kUnknown) {
    const int64_t known = IsPartOfKnown(found) ? EndOfLines(*found.file, found.look.size_bytes) : 0;
    Leave();
    site.LastFile = {};
    site.LastReadPos = known > 0 ? known + 1 : 0;
    site.LastReadPosDay = 0;
  }
  HandOut(found, step);
}

// Takes up a file that was found a moment ago.
void LogFollower::TakeUp(const Found& wanted, Step& step) {
  Found found;
  if (Open(wanted.path, found) && found.look.inode == wanted.look.inode && found.start.starts_with(wanted.start)) {
    SwitchTo(found, step);
  } else {
    unsettled_ = true;
  }
}

// The files of today that were left before the program ended, in their order, then the one it was at.
bool LogFollower::NextReplayed(Step& step) {
  while (!to_replay_.empty()) {
    const LogFileId id = to_replay_.front();
    to_replay_.erase(to_replay_.begin());
    const bool is_current = SameFile(Site().LastFile, id);
    const size_t place = PlaceOf(id);
    if (!is_current && place == Site().LeftLogs.size()) continue;
    const int64_t read_pos = is_current ? Site().LastReadPos : Site().LeftLogs[place].ReadPos;
    Found found;
    std::vector<Listed> listed;
    for (int i = 0; i < kMostTries && !found.file; ++i) {
      if (!List(listed) || !Locate(id, read_pos, true, listed, found)) found = {};
      if (!unsettled_) break;
    }
    if (!found.file) continue;
    if (!is_current) GoBackTo(place);
    HandOut(found, step);
    step.replay = true;
    return true;
  }
  return false;
}

// The first look at a site's log: what was rotated before is not read, except what is still added to it.
void LogFollower::TakeStock() {
  std::vector<Listed> listed;
  if (!List(listed)) return;
  Site().FollowedNs = named_.look.written_ns;
  for (const Listed& file : listed) {
    Found found;
    if (IsNamed(file.entry) || !IsFresh(file.entry) || !OpenListed(file, found)) continue;
    LeftLog left;
    left.File = AsSeen(found);
    const int64_t end = found.packed ? found.look.size_bytes : EndOfLines(*found.file, found.look.size_bytes);
    KnowBy(std::string_view(found.start).substr(0, static_cast<size_t>(std::max<int64_t>(end, 0))), left.File);
    left.ReadPos = end > 0 ? end + 1 : 0;
    left.Done = found.packed;
    AddLeft(std::move(left));
  }
}

Status LogFollower::Begin(Step& step) {
  SiteRec& site = Site();
  site.LeftLogs.clear();
  TakeStock();
  site.FollowedNs = named_.look.written_ns;
  if (BytesRead(site.LastReadPos) > named_.look.size_bytes) site.LastReadPos = site.LastReadPosDay = 0;
  HandOut(named_, step);
  step.replay = how_.replay;
  step.last = true;
  return Status::Ok();
}

bool LogFollower::IsAsSeen(const LogFileId& id) {
  FileLook look;
  return files_.Look(id.Path, look).ok() && SameInode(id, look.device, look.inode) && look.size_bytes == id.SeenBytes;
}

// Whether the named file is the current one and the others are as they were: what most scans find.
bool LogFollower::IsQuiet() {
  const SiteRec& site = Site();
  if (how_.folder_changed) return false;
  if (named_.file) {
    if (!SameInode(site.LastFile, named_.look.device, named_.look.inode)) return false;
    if (!Begins(named_.start, site.LastFile) || named_.look.size_bytes < BytesRead(site.LastReadPos)) return false;
  } else if (!IsAsSeen(site.LastFile)) {
    return false;
  }
  int late = 0;
  for (size_t i = site.LeftLogs.size(); i > 0 && late < kMostLate; --i) {
    const LeftLog& left = site.LeftLogs[i - 1];
    if (left.Done) continue;
    if (!IsAsSeen(left.File)) return false;
    ++late;
  }
  return true;
}

// A replay waits for a log that can't be found under any name, as before its disk is mounted: it is done once, whole.
bool LogFollower::IsAway() {
  Found found;
  std::vector<Listed> listed;
  if (named_.file || !List(listed)) return false;
  return !Locate(Site().LastFile, Site().LastReadPos, true, listed, found) && !unsettled_;
}

Status LogFollower::Next(Step& step) {
  step = {};
  if (++steps_ > kMostSteps) return Status::Ok();
  SiteRec& site = Site();
  unsettled_ = false;
  Open(site.LastLogFile, named_);
  const Status missing = Status::Error(Fail::kNotFound, site.LastLogFile + ": No such file or directory");
  if (t_.Corrected.QuietReplay && !to_replay_.empty() && IsAway()) return missing;
  if (NextReplayed(step)) return Status::Ok();
  if (site.LastFile.Inode == 0) return named_.file ? Begin(step) : missing;
  unsettled_ = false;
  const bool quiet = IsQuiet();
  if (!quiet) {
    std::vector<Found> unread;
    if (!Survey(unread)) return Status::Ok();
    if (!unread.empty()) {
      TakeUp(unread.front(), step);
      return Status::Ok();
    }
  }
  if (!named_.file) return missing;
  if (quiet) {
    HandOut(named_, step);
  } else {
    site.FollowedNs = named_.look.written_ns;  // All others have been read.
    SwitchTo(named_, step);
  }
  step.last = true;
  return Status::Ok();
}

void LogFollower::HasRead(const Step& step) {
  SiteRec& site = Site();
  FileLook look;
  std::string start(kStartBytes, '\0');
  size_t count = 0;
  if (!step.file->Look(look).ok() || !step.file->ReadAt(0, std::span<char>(start), count).ok()) return;
  start.resize(count);
  // Cut while it was being read: it is another log by now.
  const int64_t read = BytesRead(site.LastReadPos);
  if (!Begins(start, site.LastFile) || (!step.packed && look.size_bytes < read)) return;
  // Of what was not read yet nothing is known: half a line may begin as many do, and so may a header.
  const std::string_view known =
      std::string_view(start).substr(0, static_cast<size_t>(std::min<int64_t>(read, kStartBytes)));
  if (read <= static_cast<int64_t>(kStartBytes) && !BeginsWithLine(known)) {
    site.LastReadPos = site.LastReadPosDay = 0;
    KnowBy("", site.LastFile);
  } else {
    KnowBy(known, site.LastFile);
  }
  site.LastFile.SeenBytes = handed_out_bytes_;
}

}  // namespace vantry
