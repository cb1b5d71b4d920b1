#include "archive/month_archive.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "archive/zip_check.h"
#include "core/text.h"
#include "platform/posix_support.h"

namespace vantry {
namespace {

constexpr std::string_view kAside = ".zip.new";

FolderFile FileOf(std::string name, const struct stat& info) {
  return {std::move(name), S_ISREG(info.st_mode), info.st_size, WrittenNs(info), info.st_dev,
          info.st_ino,     info.st_mode & 0777u,  info.st_uid,  info.st_gid};
}

template <class F>
Status ForNames(int folder, const std::string& path, F&& use) {
  const int copy = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* dir = copy < 0 ? nullptr : ::fdopendir(copy);
  if (!dir) return Failure(path, errno);
  while (const dirent* entry = ::readdir(dir)) use(std::string(entry->d_name));
  ::closedir(dir);
  return Status::Ok();
}

bool IsUnchanged(const struct stat& info, const FolderFile& log) {
  return S_ISREG(info.st_mode) && info.st_dev == log.device && info.st_ino == log.inode &&
         info.st_size == log.size_bytes && WrittenNs(info) == log.written_ns;
}

}  // namespace

LogFolder::~LogFolder() {
  if (logs_ >= 0) ::close(logs_);
  if (archives_ >= 0) ::close(archives_);
}

Status LogFolder::Open(const std::string& path) {
  path_ = path;
  logs_ = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  struct stat info {};
  if (logs_ < 0 || ::fstat(logs_, &info) != 0) return Failure(path, errno);
  key_ = {info.st_dev, info.st_ino};
  return Status::Ok();
}

Status LogFolder::List(std::vector<FolderFile>& files) const {
  return ForNames(logs_, path_, [&](std::string name) {
    struct stat info {};
    // What is gone again is no log of a past month.
    if (::fstatat(logs_, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return;
    files.push_back(FileOf(std::move(name), info));
  });
}

Status LogFolder::MayChange() const {
  return ::faccessat(logs_, ".", W_OK | X_OK, AT_EACCESS) == 0 ? Status::Ok() : Failure(path_, errno);
}

Status LogFolder::OpenArchives(const Disk& disk) {
  const std::string path = path_ + kArchiveFolder;
  if (::faccessat(logs_, kArchiveFolder, F_OK, 0) != 0) {
    if (Status status = disk.MakeFolder(logs_, kArchiveFolder); !status.ok()) return status;
    // Made by root, it is for the user who has the logs.
    struct stat info {};
    if (::fstat(logs_, &info) == 0) {
      (void)!::fchownat(logs_, kArchiveFolder, info.st_uid, info.st_gid, AT_SYMLINK_NOFOLLOW);
    }
    (void)disk.Sync(logs_, path_);
  }
  archives_ = ::openat(logs_, kArchiveFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (archives_ < 0) return Failure(path, errno);
  if (::flock(archives_, LOCK_EX | LOCK_NB) != 0) {
    return Status::Error(Fail::kRefused, path + ": another archiver works in it");
  }
  std::vector<std::string> left;
  Status status = ForNames(archives_, path, [&](std::string name) {
    if (name.size() > kAside.size() && name.ends_with(kAside)) left.push_back(std::move(name));
  });
  for (const std::string& name : left) {
    if (status.ok()) status = disk.Remove(archives_, name);
  }
  return status;
}

namespace {

struct PackedLog {
  const FolderFile* log;
  ZipEntry entry;
};

// The work on one zip, from reading the one that is there to the removal of the logs.
class MonthWork {
 public:
  MonthWork(const Disk& disk, const LogFolder& folder, std::string zip_name, MonthResult& result)
      : disk_(disk),
        folder_(folder),
        zip_name_(std::move(zip_name)),
        zip_path_(folder.Path() + kArchiveFolder + "/" + zip_name_),
        result_(result) {}

  Status Run(const std::vector<FolderFile>& logs, const std::function<WallTime(int64_t)>& to_local);
  void RemoveLogs();

 private:
  Status OpenOld();
  int OpenLog(const FolderFile& log, bool tell);
  const ZipEntry* FindPacked(const FolderFile& log);
  Status Write(const std::vector<const FolderFile*>& logs, const std::function<WallTime(int64_t)>& to_local);
  Status Fill(int file, const std::vector<const FolderFile*>& logs, const std::function<WallTime(int64_t)>& to_local);
  Status AddLogs(ZipWriter& writer, const std::vector<const FolderFile*>& logs,
                 const std::function<WallTime(int64_t)>& to_local);
  void GiveRights(int file, size_t first) const;
  // A failure whose text names a file of the archive alone.
  Status InFolder(Status status) const {
    if (!status.ok()) status.text = folder_.Path() + kArchiveFolder + "/" + status.text;
    return status;
  }
  void Stay(const FolderFile& log, const std::string& why) { result_.stayed.push_back(log.name + " " + why); }
  void Failed(const FolderFile& log, const std::string& why) { result_.failed.push_back(log.name + " " + why); }

  const Disk& disk_;
  const LogFolder& folder_;
  std::string zip_name_, zip_path_;
  MonthResult& result_;
  std::optional<Descriptor> old_file_;
  OldZip old_;
  struct stat old_info_ {};
  std::vector<PackedLog> packed_;
};

Status MonthWork::OpenOld() {
  const int file = ::openat(folder_.Archives(), zip_name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return errno == ENOENT ? Status::Ok() : Failure(zip_path_, errno);
  old_file_.emplace(file);
  if (::fstat(file, &old_info_) != 0) return Failure(zip_path_, errno);
  result_.zip_bytes = old_info_.st_size;
  if (!S_ISREG(old_info_.st_mode)) return Status::Error(Fail::kBadData, zip_path_ + ": is not a plain file");
  return ReadOldZip(file, zip_path_, old_);
}

// -1 if the log is not what it was when it was chosen.
int MonthWork::OpenLog(const FolderFile& log, bool tell) {
  Descriptor file(::openat(folder_.Logs(), log.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat info {};
  if (!file) {
    if (tell) Failed(log, std::string("can't be read: ") + std::strerror(errno));
    return -1;
  }
  if (::fstat(file.get(), &info) == 0 && IsUnchanged(info, log)) return file.Release();
  if (tell) Stay(log, "has just changed");
  return -1;
}

// The entry of a log that is in the zip already: an archiver was killed, or could not remove it. Null if it is new.
const ZipEntry* MonthWork::FindPacked(const FolderFile& log) {
  for (const ZipEntry& entry : old_.entries) {
    if (!IsEntryOf(entry.name, log.name) || entry.size != log.size_bytes) continue;
    const Descriptor file(OpenLog(log, false));
    uint32_t crc = 0;
    if (file && LogCrc(disk_, file.get(), log.name, log.size_bytes, crc).ok() && crc == entry.crc) return &entry;
  }
  return nullptr;
}

// Nobody may read the zip who may not read all that is in it. `first` is the first log added.
void MonthWork::GiveRights(int file, size_t first) const {
  const FolderFile& log = *packed_[first].log;
  const bool old = old_file_.has_value();
  const uid_t owner = old ? old_info_.st_uid : log.owner;
  const gid_t group = old ? old_info_.st_gid : log.group;
  // Only root may give a file away; others may give it to a group of theirs.
  if (::fchown(file, owner, group) != 0) (void)!::fchown(file, static_cast<uid_t>(-1), group);
  struct stat info {};
  const bool of_group = ::fstat(file, &info) == 0 && info.st_gid == group;
  uint32_t mode = (old ? old_info_.st_mode : log.mode) & (of_group ? 0666u : 0606u);
  for (size_t i = first; i < packed_.size(); ++i) {
    mode &= packed_[i].log->group == group ? packed_[i].log->mode : packed_[i].log->mode & 0606u;
  }
  (void)::fchmod(file, mode);
}

Status MonthWork::AddLogs(ZipWriter& writer, const std::vector<const FolderFile*>& logs,
                          const std::function<WallTime(int64_t)>& to_local) {
  std::set<std::string> names;
  for (const ZipEntry& entry : writer.Entries()) names.insert(entry.name);
  for (const FolderFile* log : logs) {
    const Descriptor file(OpenLog(*log, true));
    if (!file) continue;
    ZipEntry entry;
    entry.name = EntryName(log->name, names);
    entry.size = log->size_bytes;
    entry.written_s = FloorDiv(log->written_ns, 1'000'000'000);
    entry.written = to_local(entry.written_s);
    entry.mode = log->mode;
    const Status status = writer.Add(file.get(), log->name, entry);
    struct stat info {};
    if (status.fail == Fail::kNotFound) {
      Stay(*log, "has changed while it was packed");
    } else if (status.fail == Fail::kRefused) {
      Failed(*log, "can't be read: " + status.text);
    } else if (!status.ok()) {
      return status;
    } else if (::fstat(file.get(), &info) != 0 || !IsUnchanged(info, *log)) {
      Stay(*log, "has changed while it was packed");
      if (Status dropped = writer.DropLast(); !dropped.ok()) return dropped;
    } else {
      names.insert(entry.name);
      packed_.push_back({log, entry});
    }
  }
  return Status::Ok();
}

// Writes all of the new zip and reads it back; does nothing more if no log could be added.
Status MonthWork::Fill(int file, const std::vector<const FolderFile*>& logs,
                       const std::function<WallTime(int64_t)>& to_local) {
  ZipWriter writer(disk_, file, zip_path_ + ".new");
  Status status = old_file_ ? writer.Continue(old_) : Status::Ok();
  const size_t before = packed_.size();
  if (status.ok()) status = AddLogs(writer, logs, to_local);
  if (!status.ok() || packed_.size() == before) return status;
  status = writer.Finish();
  if (!status.ok()) return status;
  GiveRights(file, before);
  status = CheckZip(file, zip_path_ + ".new", writer.Entries());
  if (status.ok()) return status;
  // What was taken over may have been damaged before; else this is about what was written a moment ago.
  if (Status old = old_file_ ? CheckZip(old_.file, zip_path_, old_.entries) : Status::Ok(); !old.ok()) return old;
  status.fail = Fail::kRefused;
  return status;
}

Status MonthWork::Write(const std::vector<const FolderFile*>& logs, const std::function<WallTime(int64_t)>& to_local) {
  const std::string aside = zip_name_ + ".new";
  Status status;
  const Descriptor file(disk_.Create(folder_.Archives(), aside, status));
  if (!file) return InFolder(status);
  const size_t before = packed_.size();
  status = Fill(file.get(), logs, to_local);
  if (status.ok() && packed_.size() > before) {
    status = disk_.Sync(file.get(), zip_path_ + ".new");
    if (status.ok()) status = InFolder(disk_.Rename(folder_.Archives(), aside, zip_name_));
    // The new zip must be found after a loss of power before a log may go.
    if (status.ok()) return disk_.Sync(folder_.Archives(), zip_path_);
  }
  (void)disk_.Remove(folder_.Archives(), aside);
  return status;
}

Status MonthWork::Run(const std::vector<FolderFile>& logs, const std::function<WallTime(int64_t)>& to_local) {
  if (Status status = OpenOld(); !status.ok()) return status;
  std::vector<const FolderFile*> new_logs;
  for (const FolderFile& log : logs) {
    if (const ZipEntry* entry = FindPacked(log)) {
      packed_.push_back({&log, *entry});
    } else {
      new_logs.push_back(&log);
    }
  }
  if (!packed_.empty()) {
    // Their only copy before long.
    if (Status status = CheckZip(old_.file, zip_path_, old_.entries); !status.ok()) return status;
  }
  return new_logs.empty() ? Status::Ok() : Write(new_logs, to_local);
}

void MonthWork::RemoveLogs() {
  for (const PackedLog& packed : packed_) {
    const FolderFile& log = *packed.log;
    struct stat info {};
    if (::fstatat(folder_.Logs(), log.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || !IsUnchanged(info, log)) {
      Stay(log, "has changed after it was packed");
    } else if (const Status status = disk_.Remove(folder_.Logs(), log.name); !status.ok()) {
      Failed(log, "is packed, but can't be removed: " + status.text);
    } else {
      result_.gone.push_back(log.name);
      result_.log_bytes += log.size_bytes;
    }
  }
  struct stat info {};
  if (::fstatat(folder_.Archives(), zip_name_.c_str(), &info, 0) == 0) result_.zip_bytes = info.st_size;
}

}  // namespace

MonthResult ArchiveMonth(const Disk& disk, const LogFolder& folder, const std::string& zip_name,
                         const std::vector<FolderFile>& logs, const std::function<WallTime(int64_t)>& to_local) {
  MonthResult result;
  MonthWork work(disk, folder, zip_name, result);
  result.status = work.Run(logs, to_local);
  if (result.status.ok()) work.RemoveLogs();
  return result;
}

}  // namespace vantry
