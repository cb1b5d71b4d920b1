#include "scan/log_follower.h"

#include <algorithm>
#include <span>
#include <tuple>
#include <utility>

#include "core/text.h"
#include "scan/rotated_name.h"

namespace vantry {
namespace {

constexpr size_t kStartBytes = 1024;
constexpr size_t kMostLeft = 48;
constexpr size_t kMostLate = 4;  // Writers let go of a renamed log soon.
constexpr int kMostSteps = 1000;
constexpr int kMostListings = 3;
// Some tools keep times in whole seconds.
constexpr int64_t kTimeSlackNs = 2'000'000'000;
constexpr int64_t kLow32 = 0xffffffff;

uint64_t HashOf(std::string_view bytes) {
  uint64_t hash = 0xcbf29ce484222325;
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

int64_t BytesRead(int64_t read_pos) {
  return std::max<int64_t>(read_pos - 1, 0);
}

bool SameInode(const LogFileId& id, const FileLook& look) {
  return id.Inode == look.inode && id.Device == look.device;
}

bool SameFile(const LogFileId& a, const LogFileId& b) {
  return a.Inode == b.Inode && a.Device == b.Device && a.StartBytes == b.StartBytes && a.StartHash == b.StartHash;
}

bool Begins(std::string_view start, const LogFileId& id) {
  const auto bytes = static_cast<size_t>(id.StartBytes);
  return bytes <= start.size() && (bytes == 0 || HashOf(start.substr(0, bytes)) == id.StartHash);
}

// A short beginning may be that of several logs: the same header, say.
bool IsThis(const FileLook& look, std::string_view start, const LogFileId& id, int64_t read_pos) {
  if (id.StartBytes == 0 || !Begins(start, id)) return false;
  return id.StartBytes == kStartBytes || SameInode(id, look) || look.size_bytes <= BytesRead(read_pos);
}

std::string FolderOf(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

std::string_view NameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

void BeginDayOfLog(ReadState& state) {
  state.LastReadPosDay = state.LastReadPos;
  for (LeftLog& left : state.LeftLogs) left.DayPos = 0;
  std::erase_if(state.LeftLogs, [](const LeftLog& left) { return left.Done; });
}

LogFollower::LogFollower(Files& files, LiveTables& tables, int16_t site, How how)
    : files_(files), t_(tables), n_(site), how_(how), replay_(how.replay) {
  if (!replay_) return;
  for (const LeftLog& left : Site().LeftLogs) {
    if (left.DayPos > 0 && left.DayPos < left.ReadPos) to_replay_.push_back(left.File);
  }
  if (!to_replay_.empty()) to_replay_.push_back(Site().LastFile);
}

bool LogFollower::Open(const std::string& path, bool packed, Found& found) {
  found = {};
  found.packed = packed;
  const Status opened = packed ? files_.OpenUnpacked(path, found.file) : files_.OpenLog(path, found.file);
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

// What is renamed while a folder is being read may be missed, so it counts when two readings agree.
bool LogFollower::List(std::vector<Listed>& files) {
  std::vector<std::string> folders = {FolderOf(Site().LastLogFile)};
  // A link may lead elsewhere.
  for (const std::string& folder : {FolderOf(Site().LastFile.Path), FolderOf(named_.look.path)}) {
    if (!folder.empty() && std::find(folders.begin(), folders.end(), folder) == folders.end())
      folders.push_back(folder);
  }
  std::vector<std::tuple<std::string, uint64_t>> before;
  for (int i = 0; i < kMostListings; ++i) {
    files.clear();
    for (const std::string& folder : folders) {
      std::vector<FileEntry> entries;
      const Status status = files_.List(folder, entries);
      if (status.fail == Fail::kNotFound) continue;
      unsettled_ = !status.ok();
      if (unsettled_) return false;
      for (FileEntry& entry : entries) files.push_back({folder + entry.name, std::move(entry)});
    }
    std::sort(files.begin(), files.end(), [](const Listed& a, const Listed& b) { return a.path < b.path; });
    std::vector<std::tuple<std::string, uint64_t>> now;
    for (const Listed& file : files) now.emplace_back(file.path, file.entry.inode);
    if (i > 0 && now == before) return true;
    before = std::move(now);
  }
  unsettled_ = true;
  return false;
}

bool LogFollower::IsCurrent() {
  const SiteRec& site = Site();
  const LogFileId& id = site.LastFile;
  if (named_.look.size_bytes < BytesRead(site.LastReadPos) || !Begins(named_.start, id)) return false;
  if (SameInode(id, named_.look)) {
    // Of a log that was empty nothing is known but its inode, which another may have by now: first those between.
    return id.StartBytes > 0 || named_.look.size_bytes == 0;
  }
  if (id.StartBytes == 0) return false;
  if (id.StartBytes == kStartBytes) return true;
  // It may begin alike and yet be the next one.
  std::vector<Listed> listed;
  return List(listed) && std::none_of(listed.begin(), listed.end(), [&](const Listed& file) {
           return file.entry.inode == id.Inode && file.entry.device == id.Device;
         });
}

bool LogFollower::Find(const LogFileId& id, int64_t read_pos, Found& found) {
  const auto fits = [&] {
    return SameInode(id, found.look) && Begins(found.start, id) && found.look.size_bytes >= BytesRead(read_pos) &&
           !(named_.file && SameInode(id, named_.look)) && (id.StartBytes > 0 || !IsKnown(found));
  };
  if (Open(id.Path, false, found) && fits()) return true;
  std::vector<Listed> listed;
  if (!List(listed)) return false;
  for (const Listed& file : listed) {
    if (file.entry.inode != id.Inode || file.entry.device != id.Device || file.path.ends_with(".gz")) continue;
    if (Open(file.path, false, found) && fits()) return true;
    unsettled_ = !found.file || found.look.inode != file.entry.inode;  // It has just been renamed.
    if (unsettled_) return false;
  }
  return FindByStart(id, read_pos, listed, found);
}

// Of several copies the longest has all that the others have.
bool LogFollower::FindByStart(const LogFileId& id, int64_t read_pos, const std::vector<Listed>& listed, Found& found) {
  if (id.StartBytes == 0) return false;
  Found best;
  for (const bool packed : {false, true}) {
    for (const Listed& file : listed) {
      if (file.path.ends_with(".gz") != packed || file.entry.written_ns.value_or(0) < id.WrittenNs - kTimeSlackNs) {
        continue;
      }
      if (!packed && file.entry.size_bytes < BytesRead(read_pos)) continue;
      if (named_.file && file.entry.inode == named_.look.inode && file.entry.device == named_.look.device) continue;
      if (!Open(file.path, packed, found)) continue;
      unsettled_ = found.look.inode != file.entry.inode;
      if (unsettled_) return false;
      if (!Begins(found.start, id)) continue;
      if (!best.file || found.look.size_bytes > best.look.size_bytes) best = std::move(found);
    }
    if (best.file) break;
  }
  found = std::move(best);
  return found.file != nullptr;
}

bool LogFollower::IsKnown(const Found& found) {
  const SiteRec& site = Site();
  if (IsThis(found.look, found.start, site.LastFile, site.LastReadPos)) return true;
  const size_t common = std::min(found.start.size(), named_.start.size());
  if (common > 0 && found.start.compare(0, common, named_.start, 0, common) == 0 &&
      (common == kStartBytes || found.look.size_bytes <= named_.look.size_bytes)) {
    return true;
  }
  return std::any_of(site.LeftLogs.begin(), site.LeftLogs.end(),
                     [&](const LeftLog& left) { return IsThis(found.look, found.start, left.File, left.ReadPos); });
}

// The oldest file that was written after the current one, and before the one that has the name now.
bool LogFollower::FindBetween(int64_t since_ns, Found& found) {
  std::vector<Listed> listed;
  if (!List(listed)) return false;
  const SiteRec& site = Site();
  const std::string_view log = NameOf(site.LastLogFile), target = NameOf(named_.look.path);
  const auto is_rotated = [&](std::string_view name) {
    return IsRotatedName(name, log, site.Mask) || (target != log && IsRotatedName(name, target, "*"));
  };
  const auto is_listed = [&](std::string_view path) {
    return std::any_of(listed.begin(), listed.end(), [&](const Listed& file) { return file.path == path; });
  };
  std::vector<const Listed*> later;
  for (const Listed& file : listed) {
    const FileEntry& entry = file.entry;
    if (!is_rotated(entry.name)) continue;
    if (entry.size_bytes == 0 || entry.written_ns.value_or(0) < since_ns) continue;
    if (entry.inode == named_.look.inode && entry.device == named_.look.device) continue;
    // While a file is being packed both are there.
    if (file.path.ends_with(".gz") && is_listed(std::string_view(file.path).substr(0, file.path.size() - 3))) continue;
    later.push_back(&file);
  }
  std::stable_sort(later.begin(), later.end(), [](const Listed* a, const Listed* b) {
    if (a->entry.written_ns != b->entry.written_ns) return a->entry.written_ns < b->entry.written_ns;
    return IsOlderName(a->entry.name, b->entry.name);
  });
  for (const Listed* file : later) {
    const bool packed = file->path.ends_with(".gz");
    if (!Open(file->path, packed, found) && !Open(file->path, packed, found)) {
      if (files_.Exists(file->path)) continue;  // For nobody's eyes.
      unsettled_ = true;
      return false;
    }
    unsettled_ = found.look.inode != file->entry.inode;  // Renamed meanwhile.
    if (unsettled_) return false;
    // One without a whole line stays unknown: once a scan is enough.
    const bool visited = std::find(visited_.begin(), visited_.end(), found.look.inode) != visited_.end();
    if (!found.start.empty() && !visited && !IsKnown(found)) return true;
  }
  return false;
}

void LogFollower::Leave() {
  SiteRec& site = Site();
  const bool still_there = site.LastFile.StartBytes == 0 && named_.file && SameInode(site.LastFile, named_.look);
  if (site.LastFile.StartBytes == 0) {
    std::erase_if(site.LeftLogs, [&](const LeftLog& left) { return SameFile(left.File, site.LastFile); });
  }
  if (!still_there) {
    site.LeftLogs.push_back({site.LastFile, site.LastReadPos, site.LastReadPosDay, current_packed_, seen_bytes_});
  }
  if (site.LeftLogs.size() > kMostLeft) {
    const auto done = std::find_if(site.LeftLogs.begin(), site.LeftLogs.end(),
                                   [](const LeftLog& left) { return left.Done && left.DayPos == 0; });
    site.LeftLogs.erase(done == site.LeftLogs.end() ? site.LeftLogs.begin() : done);
  }
  current_packed_ = false;
  seen_bytes_ = 0;
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

size_t LogFollower::PlaceOf(const LogFileId& id) {
  const auto& left = Site().LeftLogs;
  return static_cast<size_t>(
      std::find_if(left.begin(), left.end(), [&](const LeftLog& l) { return SameFile(l.File, id); }) - left.begin());
}

void LogFollower::Recognise(const Found& found) {
  LogFileId& id = Site().LastFile;
  id.Device = found.look.device;
  id.Inode = found.look.inode;
  id.WrittenNs = found.look.written_ns;
  id.Path = found.look.path;
  // Of what was not read yet nothing is known: half a line may begin as many do.
  const size_t bytes = std::min(found.start.size(), static_cast<size_t>(BytesRead(Site().LastReadPos)));
  if (bytes > static_cast<size_t>(id.StartBytes)) {
    id.StartBytes = static_cast<int32_t>(bytes);
    id.StartHash = HashOf(std::string_view(found.start).substr(0, bytes));
  }
}

void LogFollower::HandOut(Found& found, Step& step) {
  Recognise(found);
  current_packed_ = found.packed;
  seen_bytes_ = found.look.size_bytes;  // Before it is read: what is added meanwhile is looked for once more.
  step.file = std::move(found.file);
  step.packed = found.packed;
}

void LogFollower::SwitchTo(Found& found, Step& step) {
  SiteRec& site = Site();
  visited_.push_back(found.look.inode);
  const auto known = std::find_if(site.LeftLogs.begin(), site.LeftLogs.end(), [&](const LeftLog& left) {
    return IsThis(found.look, found.start, left.File, left.ReadPos) && found.look.size_bytes >= BytesRead(left.ReadPos);
  });
  if (known != site.LeftLogs.end()) {
    GoBackTo(static_cast<size_t>(known - site.LeftLogs.begin()));
  } else {
    Leave();
    site.LastFile = {};
    site.LastReadPos = site.LastReadPosDay = 0;
  }
  HandOut(found, step);
}

// The files of today that were left before the program ended, in their order, then the one it was at.
bool LogFollower::NextReplayed(Step& step) {
  for (; !to_replay_.empty(); to_replay_.erase(to_replay_.begin())) {
    const size_t place = PlaceOf(to_replay_.front());
    auto& left = Site().LeftLogs;
    if (place == left.size()) {
      // The last one was empty, so it was not kept: nothing of it is to be replayed.
      if (to_replay_.size() == 1 && !SameFile(Site().LastFile, to_replay_.front())) {
        replay_ = false;
        finished_ = true;
      }
      continue;
    }
    if (to_replay_.size() == 1) {
      GoBackTo(place);
      continue;
    }
    Found found;
    for (int i = 0; i < kMostListings && !found.file; ++i) {
      unsettled_ = false;
      if (!Find(left[place].File, left[place].ReadPos, found)) found = {};
    }
    if (!found.file) continue;
    GoBackTo(place);
    HandOut(found, step);
    step.replay = true;
    to_replay_.erase(to_replay_.begin());
    return true;
  }
  return false;
}

// Who writes a log may go on with the renamed one for a while.
bool LogFollower::NextLate(Step& step) {
  if (!late_listed_) {
    late_listed_ = true;
    const auto& left = Site().LeftLogs;
    for (size_t i = left.size(); i > 0 && late_.size() < kMostLate; --i) {
      if (!left[i - 1].Done) late_.push_back(left[i - 1].File);
    }
  }
  while (!late_.empty()) {
    const size_t place = PlaceOf(late_.back());
    late_.pop_back();
    if (place == Site().LeftLogs.size()) continue;
    LeftLog& left = Site().LeftLogs[place];
    Found found;
    if (left.File.StartBytes == 0) {
      if (!IsFilled(left, found)) continue;
      SwitchTo(found, step);
    } else {
      if (!IsLate(left) || !Find(left.File, left.ReadPos, found)) continue;
      GoBackTo(place);
      HandOut(found, step);
    }
    finished_ = true;
    return true;
  }
  return false;
}

// A file that was left empty has no beginning to know it by: whatever is later than it and not known may be it.
bool LogFollower::IsFilled(LeftLog& left, Found& found) {
  FileLook look;
  const bool there = files_.Look(left.File.Path, look).ok() && SameInode(left.File, look);
  if (!how_.folder_changed && (!there || look.size_bytes == left.SeenBytes)) return false;
  left.SeenBytes = look.size_bytes;
  if (FindBetween(left.File.WrittenNs, found)) return true;
  std::vector<Listed> listed;
  if (there || unsettled_ || !List(listed)) return false;
  const auto file = std::find_if(listed.begin(), listed.end(), [&](const Listed& f) {
    return f.entry.inode == left.File.Inode && f.entry.device == left.File.Device;
  });
  left.Done = file == listed.end();
  if (!left.Done) left.File.Path = file->path;
  return false;
}

bool LogFollower::IsLate(LeftLog& left) {
  FileLook look;
  Found found;
  const int64_t read = BytesRead(left.ReadPos);
  if (files_.Look(left.File.Path, look).ok() && SameInode(left.File, look)) {
    // Half a line at its end is looked at once.
    const bool grown = look.size_bytes > read && look.size_bytes != left.SeenBytes;
    left.SeenBytes = look.size_bytes;
    return grown;
  }
  // Only a folder that changed can have it elsewhere.
  if (!how_.folder_changed) return false;
  const bool there = Find(left.File, left.ReadPos, found);
  if (unsettled_) return false;
  left.Done = !there || found.packed;
  if (!there) return false;
  left.File.Path = found.look.path;
  return found.packed ? ((found.look.size_bytes ^ read) & kLow32) != 0 : found.look.size_bytes > read;
}

bool LogFollower::FinishCurrent(Step& step) {
  finished_ = true;
  const SiteRec& site = Site();
  // Of a log that was empty there may be several pieces by now, all of them later than it.
  if (site.LastFile.StartBytes == 0) return false;
  Found found;
  if (!Find(site.LastFile, site.LastReadPos, found)) return false;
  const int64_t read = BytesRead(site.LastReadPos), size = found.look.size_bytes;
  const bool more = found.packed ? ((size ^ read) & kLow32) != 0 : size > read;
  if (more || replay_) {
    HandOut(found, step);
    step.replay = std::exchange(replay_, false);
    return true;
  }
  Recognise(found);
  current_packed_ = found.packed;
  seen_bytes_ = size;
  return false;
}

// A replay waits for a log that can't be found under any name, as before its disk is mounted: it is done once, whole.
bool LogFollower::IsAway() {
  Found found;
  return !named_.file && !Find(Site().LastFile, Site().LastReadPos, found) && !unsettled_;
}

Status LogFollower::Next(Step& step) {
  step = {};
  if (++steps_ > kMostSteps) return Status::Ok();
  SiteRec& site = Site();
  Open(site.LastLogFile, false, named_);
  const Status missing = Status::Error(Fail::kNotFound, site.LastLogFile + ": No such file or directory");
  if (t_.Corrected.QuietReplay && replay_ && IsAway()) return missing;
  if (NextReplayed(step)) return Status::Ok();
  const bool is_new = site.LastFile.Inode == 0;
  if (named_.file && (is_new || IsCurrent())) {
    if (!is_new && !replay_ && NextLate(step)) return Status::Ok();
    if (BytesRead(site.LastReadPos) > named_.look.size_bytes) site.LastReadPos = site.LastReadPosDay = 0;
    HandOut(named_, step);
    step.replay = std::exchange(replay_, false);
    step.last = true;
    return Status::Ok();
  }
  if (!is_new && !finished_ && FinishCurrent(step)) {
    step.last = !named_.file;
    return Status::Ok();
  }
  if (unsettled_) return Status::Ok();
  if (!named_.file) return missing;
  Found between;
  if (FindBetween(site.LastFile.WrittenNs, between)) {
    SwitchTo(between, step);
  } else if (!unsettled_ && !NextLate(step) && !unsettled_) {
    SwitchTo(named_, step);
    step.last = true;
  }
  return Status::Ok();
}

void LogFollower::HasRead(const Step& step) {
  Found found;
  found.packed = step.packed;
  if (!step.file->Look(found.look).ok()) return;
  const SiteRec& site = Site();
  if (!step.packed && found.look.size_bytes < BytesRead(site.LastReadPos)) return;
  if (site.LastFile.StartBytes < static_cast<int32_t>(kStartBytes)) {
    found.start.resize(kStartBytes);
    size_t count = 0;
    if (!step.file->ReadAt(0, std::span<char>(found.start), count).ok()) return;
    found.start.resize(count);
    if (!Begins(found.start, site.LastFile)) return;
  }
  Recognise(found);
}

}  // namespace vantry
