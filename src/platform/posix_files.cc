#include "platform/posix_files.h"

#include <cerrno>
#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix_support.h"
#include "platform/unpacked_log.h"

namespace vantry {
namespace {

class PosixFolder final : public FolderReader {
 public:
  explicit PosixFolder(DIR* dir) : dir_(dir) {}
  ~PosixFolder() override { ::closedir(dir_); }
  PosixFolder(const PosixFolder&) = delete;
  PosixFolder& operator=(const PosixFolder&) = delete;

  bool Next(size_t most, std::vector<FileEntry>& entries) override {
    for (size_t n = 0; n < most; ++n) {
      const dirent* entry = ::readdir(dir_);
      if (!entry) return false;
      struct stat info {};
      if (::fstatat(::dirfd(dir_), entry->d_name, &info, 0) != 0) {
        // A file that can't be examined is listed without a time, unless it has gone in the meantime.
        if (errno != ENOENT) entries.push_back({entry->d_name, 0, std::nullopt, 0, 0});
      } else if (S_ISREG(info.st_mode)) {
        entries.push_back({entry->d_name, info.st_size, WrittenNs(info), info.st_dev, info.st_ino});
      }
    }
    return true;
  }

 private:
  DIR* dir_;
};

Status WriteAll(int fd, const std::string& path, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Failure(path, errno);
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return Status::Ok();
}

Status WriteBeside(const std::string& path, const std::string& beside, std::string_view bytes) {
  struct stat old {};
  // Keeps the old file's access rights: these files contain passwords that an operator may have hidden from others.
  const mode_t mode = ::stat(path.c_str(), &old) == 0 ? old.st_mode & 07777 : 0644;
  Descriptor fd(::open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode));
  if (!fd) return Failure(beside, errno);
  if (Status status = WriteAll(fd.get(), beside, bytes); !status.ok()) return status;
  if (::fsync(fd.get()) != 0) return Failure(beside, errno);
  if (!fd.Close()) return Failure(beside, errno);
  if (::rename(beside.c_str(), path.c_str()) != 0) return Failure(path, errno);
  return Status::Ok();
}

class PosixLogFile final : public LogFile {
 public:
  PosixLogFile(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
  Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) override {
    count = 0;
    for (;;) {
      const ssize_t n = ::pread(fd_.get(), buffer.data(), buffer.size(), position);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) return Failure(path_, errno);
      count = static_cast<size_t>(n);
      return Status::Ok();
    }
  }
  Status Look(FileLook& look) override { return LookAt(fd_.get(), path_, look); }

 private:
  Descriptor fd_;
  std::string path_;
};

}  // namespace

Status PosixFiles::Read(const std::string& path, std::string& bytes) {
  bytes.clear();
  const Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) return Failure(path, errno);
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return Failure(path, errno);
  if (!S_ISREG(info.st_mode)) return Status::Error(Fail::kIo, path + ": is no plain file");
  std::string block(64 * 1024, '\0');
  for (;;) {
    const ssize_t n = ::read(fd.get(), block.data(), block.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Failure(path, errno);
    if (n == 0) return Status::Ok();
    bytes.append(block, 0, static_cast<size_t>(n));
  }
}

Status PosixFiles::Replace(const std::string& path, std::string_view bytes) {
  const std::string beside = path + ".new";
  Status status = WriteBeside(path, beside, bytes);
  if (status.ok()) {
    SyncFolderOf(path);
  } else {
    ::unlink(beside.c_str());
  }
  return status;
}

Status PosixFiles::Append(const std::string& path, std::string_view bytes) {
  Descriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0644));
  if (!fd) return Failure(path, errno);
  if (Status status = WriteAll(fd.get(), path, bytes); !status.ok()) return status;
  return fd.Close() ? Status::Ok() : Failure(path, errno);
}

Status PosixFiles::Remove(const std::string& path) {
  if (::unlink(path.c_str()) == 0 || errno == ENOENT) return Status::Ok();
  return Failure(path, errno);
}

bool PosixFiles::Exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

Status PosixFiles::Identify(const std::string& path, FileIdentity& identity) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return Failure(path, errno);
  identity = IdentityOf(info);
  return Status::Ok();
}

Status PosixFiles::MakeFolder(const std::string& path) {
  for (size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
    const std::string part = path.substr(0, at);
    if (!part.empty() && ::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return Failure(part, errno);
    if (at == std::string::npos || at + 1 == path.size()) break;
  }
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return Failure(path, errno);
  return S_ISDIR(info.st_mode) ? Status::Ok() : Failure(path, ENOTDIR);
}

Status PosixFiles::OpenFolder(const std::string& folder, std::unique_ptr<FolderReader>& reader) {
  DIR* dir = ::opendir(folder.empty() ? "." : folder.c_str());
  if (!dir) return Failure(folder, errno);
  reader = std::make_unique<PosixFolder>(dir);
  return Status::Ok();
}

Status PosixFiles::OpenLog(const std::string& path, std::unique_ptr<LogFile>& file) {
  // Not blocking: a pipe in a log folder must not stop the program.
  Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) return Failure(path, errno);
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return Failure(path, errno);
  if (!S_ISREG(info.st_mode)) return Status::Error(Fail::kIo, path + ": is no plain file");
  file = std::make_unique<PosixLogFile>(fd.Release(), path);
  return Status::Ok();
}

Status PosixFiles::OpenUnpacked(const std::string& path, std::unique_ptr<LogFile>& file) {
  return OpenUnpackedLog(path, file);
}

Status PosixFiles::Look(const std::string& path, FileLook& look) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return Failure(path, errno);
  look = LookFrom(info);
  return Status::Ok();
}

}  // namespace vantry
