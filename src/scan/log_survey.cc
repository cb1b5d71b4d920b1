// What the files in a log's folder are: known logs, copies of them, or new ones.
#include <algorithm>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>

#include "scan/log_follower.h"
#include "scan/log_start.h"
#include "scan/rotated_name.h"

namespace vantry {
namespace {

constexpr int kMostListings = 3;
constexpr int kMostOpened = 8;
constexpr int64_t kLow32 = 0xffffffff;

std::string FolderOf(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

std::string_view NameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

// Whether one is as much as there is of the other.
bool SameBeginning(std::string_view a, std::string_view b) {
  const size_t common = std::min(a.size(), b.size());
  return common > 0 && a.substr(0, common) == b.substr(0, common);
}

}  // namespace

// What is renamed while a folder is being read may be missed, so it counts when two readings agree.
bool LogFollower::List(std::vector<Listed>& files) {
  std::vector<std::string> folders = {FolderOf(Site().LastLogFile)};
  // A link may lead elsewhere.
  const auto add = [&](const std::string& path) {
    const std::string folder = FolderOf(path);
    if (!folder.empty() && std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.push_back(folder);
    }
  };
  add(Site().LastFile.Path);
  add(named_.look.path);
  for (const LeftLog& left : Site().LeftLogs) {
    if (!left.Done) add(left.File.Path);
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
    now.reserve(files.size());
    for (const Listed& file : files) now.emplace_back(file.path, file.entry.inode);
    if (i > 0 && now == before) return true;
    before = std::move(now);
  }
  unsettled_ = true;
  return false;
}

bool LogFollower::IsNamed(const FileEntry& entry) const {
  return named_.file && entry.inode == named_.look.inode && entry.device == named_.look.device;
}

bool LogFollower::IsRotated(const std::string& name) {
  const SiteRec& site = Site();
  const std::string_view log = NameOf(site.LastLogFile), target = NameOf(named_.look.path);
  const std::string_view current = NameOf(site.LastFile.Path);
  return IsRotatedName(name, log, site.Mask) ||
         (!target.empty() && target != log && IsRotatedName(name, target, "*")) ||
         (named_.file == nullptr && current != log && IsRotatedName(name, current, "*"));
}

// Whether it may hold a whole log that nobody has read.
bool LogFollower::IsFresh(const FileEntry& entry) {
  return entry.written_ns.value_or(0) >= Site().FollowedNs - kTimeSlackNs && IsRotated(entry.name);
}

// The log of which most was read, if the file begins as several do.
int LogFollower::LogOf(const Found& found) {
  // Of each length, so that many known logs cost no more than one.
  std::vector<uint64_t> hashes = {HashOfStart("")};
  for (const char c : found.start) hashes.push_back(AddToHash(hashes.back(), c));
  int best = kUnknown;
  const auto count = static_cast<int>(Site().LeftLogs.size());
  for (int log = kCurrent; log < count; ++log) {
    const LogFileId& id = FileOf(log);
    const int64_t place = PlaceIn(log);
    const auto bytes = static_cast<size_t>(id.StartBytes);
    if (place == 0 || bytes == 0 || bytes >= hashes.size() || hashes[bytes] != id.StartHash) continue;
    if (!found.packed && found.look.size_bytes < BytesRead(place)) continue;
    if (best == kUnknown || place > PlaceIn(best)) best = log;
  }
  return best;
}

// Whether all of it was read in another file, such as the one that it is an old copy of.
bool LogFollower::IsPartOfKnown(const Found& found) {
  const auto count = static_cast<int>(Site().LeftLogs.size());
  for (int log = kCurrent; log < count; ++log) {
    const LogFileId& id = FileOf(log);
    const int64_t read = BytesRead(PlaceIn(log));
    if (read == 0 || id.StartBytes == 0 || found.look.size_bytes >= read) continue;
    if (static_cast<size_t>(id.StartBytes) <= found.start.size()) {
      if (Begins(found.start, id)) return true;
      continue;
    }
    // A copy that short is one of the last logs, or of none.
    if (log != kCurrent && count - log > kMostOpened) continue;
    Found whole;
    if (!Open(id.Path, whole) || !Begins(whole.start, id)) continue;
    if (SameBeginning(whole.start, found.start)) return true;
  }
  return false;
}

// Of several copies the longest has all that the others have.
bool LogFollower::Locate(const LogFileId& id, int64_t read_pos, bool with_named, const std::vector<Listed>& listed,
                         Found& found) {
  for (const Listed& file : listed) {
    if (!SameInode(id, file.entry.device, file.entry.inode) || (!with_named && IsNamed(file.entry))) continue;
    if (id.StartBytes == 0 || !OpenListed(file, found)) break;
    if (Begins(found.start, id) && (found.packed || found.look.size_bytes >= BytesRead(read_pos))) return true;
  }
  if (unsettled_) return false;
  Found best;
  for (const bool packed : {false, true}) {
    for (const Listed& file : listed) {
      if (IsPackedName(file.path) != packed || (!with_named && IsNamed(file.entry))) continue;
      const bool same = SameInode(id, file.entry.device, file.entry.inode);
      if (!same && file.entry.written_ns.value_or(0) < id.WrittenNs - kTimeSlackNs) continue;
      if (!packed && file.entry.size_bytes < BytesRead(read_pos)) continue;
      if (!OpenListed(file, found)) {
        if (unsettled_) return false;
        continue;
      }
      if (id.StartBytes == 0 || !Begins(found.start, id)) continue;
      if (!best.file || found.look.size_bytes > best.look.size_bytes) best = std::move(found);
    }
    if (best.file) break;
  }
  found = std::move(best);
  return found.file != nullptr;
}

// Files with a rotated name and those that were read before, under any name.
bool LogFollower::OpenOwn(const std::vector<Listed>& listed, std::vector<Found>& own) {
  auto& left = Site().LeftLogs;
  for (const Listed& file : listed) {
    const FileEntry& entry = file.entry;
    if (IsNamed(entry)) continue;
    bool known = false, as_seen = false;
    for (LeftLog& l : left) {
      if (!SameInode(l.File, entry.device, entry.inode)) continue;
      known = true;
      const bool same_size =
          IsPackedName(file.path) ? l.File.SeenBytes > 0 : !l.Done && l.File.SeenBytes == entry.size_bytes;
      if (!same_size || l.File.WrittenNs != entry.written_ns) continue;
      as_seen = true;
      l.File.Path = file.path;
      met_.push_back(l.File);
    }
    const bool is_current = SameInode(Site().LastFile, entry.device, entry.inode);
    if (!known && !is_current && !IsFresh(entry)) continue;
    if (as_seen && !is_current) continue;
    // While a file is being packed both are there.
    const std::string_view plain = std::string_view(file.path).substr(0, file.path.size() - 3);
    if (IsPackedName(file.path) &&
        std::any_of(listed.begin(), listed.end(), [&](const Listed& other) { return other.path == plain; })) {
      continue;
    }
    Found found;
    if (!OpenListed(file, found)) {
      if (unsettled_) return false;
      continue;
    }
    found.file.reset();
    found.log = LogOf(found);
    found.at_home = found.log != kUnknown && SameInode(FileOf(found.log), found.look.device, found.look.inode);
    own.push_back(std::move(found));
  }
  return true;
}

// Whether its log is where it was, unchanged and thus not opened. Nobody would look there any more for late lines if
// the log were taken to be in this copy.
bool LogFollower::IsHeldElsewhere(const Found& found) {
  if (found.log < 0) return false;
  const LogFileId& id = FileOf(found.log);
  return found.look.size_bytes <= id.SeenBytes &&
         std::any_of(met_.begin(), met_.end(), [&](const LogFileId& met) { return SameFile(met, id); });
}

// Of copies the longest counts, of alike ones that which was read so far, and none of the file that has the log's name.
void LogFollower::MarkCopies(std::vector<Found>& own) {
  std::stable_sort(own.begin(), own.end(), [](const Found& a, const Found& b) {
    if (a.look.size_bytes != b.look.size_bytes) return a.look.size_bytes > b.look.size_bytes;
    if (a.at_home != b.at_home) return a.at_home;
    return !a.packed && b.packed;
  });
  std::vector<Found> kept, copies;
  for (Found& file : own) {
    const bool readable = (file.fresh || file.log != kUnknown) && !IsHeldElsewhere(file);
    const auto holds_it = [&](const Found& other) { return SameBeginning(file.start, other.start); };
    const bool in_named = named_.file && named_.look.size_bytes >= file.look.size_bytes && holds_it(named_);
    if (!readable || in_named || std::any_of(kept.begin(), kept.end(), holds_it)) {
      file.copy = true;
      copies.push_back(std::move(file));
    } else {
      kept.push_back(std::move(file));
    }
  }
  own = std::move(kept);
  std::move(copies.begin(), copies.end(), std::back_inserter(own));
}

LogFileId LogFollower::AsSeen(const Found& found) {
  return {found.look.device, found.look.inode, 0, 0, found.look.written_ns, found.look.path, found.look.size_bytes};
}

// What was known by this inode is another file, or gone.
void LogFollower::Forget(const FileLook& look, int except) {
  auto& left = Site().LeftLogs;
  for (size_t i = 0; i < left.size(); ++i) {
    if (static_cast<int>(i) != except && SameInode(left[i].File, look.device, look.inode)) left[i].Done = true;
  }
}

bool LogFollower::HasMore(const Found& found, int log) {
  const int64_t read = BytesRead(PlaceIn(log)), size = found.look.size_bytes;
  if (size == FileOf(log).SeenBytes) return false;
  return found.packed ? ((size ^ read) & kLow32) != 0 : size > read;
}

// Tells known logs where they are now, and picks what is to be read.
void LogFollower::Settle(std::vector<Found>& own, std::vector<Found>& unread) {
  std::vector<Found> to_watch;
  for (Found& file : own) {
    const int log = file.copy ? kUnknown : file.log;
    const bool visited = std::find(visited_.begin(), visited_.end(), file.look.inode) != visited_.end();
    Forget(file.look, log);
    if (log == kUnknown) {
      const bool is_new = !file.copy && file.fresh && !file.start.empty() && !IsPartOfKnown(file);
      if (!is_new || visited) {
        to_watch.push_back(std::move(file));
      } else {
        unread.push_back(std::move(file));
      }
      continue;
    }
    LogFileId& id = FileOf(log);
    id.Device = file.look.device;
    id.Inode = file.look.inode;
    id.Path = file.look.path;
    met_.push_back(id);
    if (log == kCurrent) {
      current_done_ = file.packed;
    } else {
      Site().LeftLogs[static_cast<size_t>(log)].Done = file.packed;
    }
    if (!HasMore(file, log)) {
      id.SeenBytes = file.look.size_bytes;
      id.WrittenNs = file.look.written_ns;
    } else if (!visited) {
      unread.push_back(std::move(file));
    }
  }
  // Nothing is to be read of them now, but they may grow.
  for (const Found& file : to_watch) {
    if (!file.rotated || file.packed) continue;
    met_.push_back(AsSeen(file));
    Watch(met_.back());
  }
}

// Looks at all files that may hold lines. What is to be read comes in the order in which it was written.
bool LogFollower::Survey(std::vector<Found>& unread) {
  std::vector<Listed> listed;
  if (!List(listed)) return false;
  met_.clear();
  SiteRec& site = Site();
  std::vector<Found> own;
  if (!OpenOwn(listed, own)) return false;
  const auto is_current = [](const Found& file) { return file.log == kCurrent; };
  if (site.LastReadPos > 0 && !(named_.file && LogOf(named_) == kCurrent) &&
      std::none_of(own.begin(), own.end(), is_current)) {
    Found found;
    const bool there = Locate(site.LastFile, site.LastReadPos, false, listed, found);
    if (unsettled_) return false;
    current_done_ = !there;
    if (there) {
      found.file.reset();
      found.log = LogOf(found);
      own.push_back(std::move(found));
    }
  }
  MarkCopies(own);
  Settle(own, unread);
  const auto is_met = [&](const LeftLog& left) {
    return std::any_of(met_.begin(), met_.end(),
                       [&](const LogFileId& id) { return SameInode(left.File, id.Device, id.Inode); });
  };
  for (LeftLog& left : site.LeftLogs) left.Done = left.Done || !is_met(left);
  std::erase_if(site.LeftLogs, [](const LeftLog& left) { return left.Done && left.ReadPos == 0; });
  std::stable_sort(unread.begin(), unread.end(), [&](const Found& a, const Found& b) {
    const bool a_is_current = is_current(a), b_is_current = is_current(b);
    if (a_is_current != b_is_current) return a_is_current;
    if (a.look.written_ns != b.look.written_ns) return a.look.written_ns < b.look.written_ns;
    return IsOlderName(NameOf(a.path), NameOf(b.path));
  });
  return true;
}

}  // namespace vantry
