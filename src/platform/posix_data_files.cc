#include "platform/posix_data_files.h"

#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>

#include "platform/posix_support.h"

namespace vantry {
namespace {

constexpr int64_t kMuchBytes = 1 << 20;

class PosixDataFile final : public DataFile {
 public:
  PosixDataFile(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}

  Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) override {
    count = 0;
    while (count < buffer.size()) {
      const ssize_t n =
          ::pread(fd_.get(), buffer.data() + count, buffer.size() - count, position + static_cast<int64_t>(count));
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) return Failure(path_, errno);
      if (n == 0) break;
      count += static_cast<size_t>(n);
    }
    return Status::Ok();
  }

  // Much at once begins its way to the disk, so that the next Sync finds little to wait for.
  Status WriteAt(int64_t position, std::string_view bytes) override {
    const int64_t from = position;
    while (!bytes.empty()) {
      const ssize_t n = ::pwrite(fd_.get(), bytes.data(), bytes.size(), position);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) return Failure(path_, errno);
      bytes.remove_prefix(static_cast<size_t>(n));
      position += n;
    }
    if (position - from >= kMuchBytes) (void)::sync_file_range(fd_.get(), from, position - from, SYNC_FILE_RANGE_WRITE);
    return Status::Ok();
  }

  Status Truncate(int64_t size_bytes) override {
    return ::ftruncate(fd_.get(), size_bytes) == 0 ? Status::Ok() : Failure(path_, errno);
  }

  Status Sync() override { return ::fdatasync(fd_.get()) == 0 ? Status::Ok() : Failure(path_, errno); }

  Status Identify(FileIdentity& identity) override {
    struct stat info {};
    if (::fstat(fd_.get(), &info) != 0) return Failure(path_, errno);
    identity = IdentityOf(info);
    return Status::Ok();
  }

 private:
  Descriptor fd_;
  std::string path_;
};

}  // namespace

Status PosixDataFiles::Open(const std::string& path, OpenFor purpose, std::unique_ptr<DataFile>& file) {
  const int access = purpose == OpenFor::kReading ? O_RDONLY : O_RDWR;
  const int create = purpose == OpenFor::kCreating ? O_CREAT : 0;
  Descriptor fd(::open(path.c_str(), access | create | O_CLOEXEC | O_NONBLOCK, 0644));
  if (!fd) return Failure(path, errno);
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return Failure(path, errno);
  if (!S_ISREG(info.st_mode)) return Status::Error(Fail::kIo, path + ": is no plain file");
  // A file system that knows no locks is taken without.
  if (purpose != OpenFor::kReading && ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return Status::Error(Fail::kRefused, path + ": is held by another program");
  }
  // What is written into a new file is lost with its name.
  if (create != 0 && info.st_size == 0) SyncFolderOf(path);
  file = std::make_unique<PosixDataFile>(fd.Release(), path);
  return Status::Ok();
}

Status PosixDataFiles::Identify(const std::string& path, FileIdentity& identity) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return Failure(path, errno);
  identity = IdentityOf(info);
  return Status::Ok();
}

Status PosixDataFiles::Replace(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) return Failure(to, errno);
  SyncFolderOf(to);
  return Status::Ok();
}

Status PosixDataFiles::Remove(const std::string& path) {
  if (::unlink(path.c_str()) == 0 || errno == ENOENT) return Status::Ok();
  return Failure(path, errno);
}

}  // namespace vantry
