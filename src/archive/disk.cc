#include "archive/disk.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix_support.h"

namespace vantry {

Status Disk::Begin(std::string_view step, const std::string& name) const {
  const int error = before ? before(step) : 0;
  return error == 0 ? Status::Ok() : Failure(name, error);
}

int Disk::Create(int folder, const std::string& name, Status& status) const {
  status = Begin("create", name);
  if (!status.ok()) return -1;
  // Nobody else may read it before it has the rights of the logs in it.
  const int file = ::openat(folder, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) status = Failure(name, errno);
  return file;
}

Status Disk::MakeFolder(int folder, const std::string& name) const {
  if (Status status = Begin("folder", name); !status.ok()) return status;
  if (::mkdirat(folder, name.c_str(), 0755) != 0 && errno != EEXIST) return Failure(name, errno);
  return Status::Ok();
}

Status Disk::ReadAt(int file, int64_t place, std::span<char> buffer, size_t& count, const std::string& name) const {
  if (Status status = Begin("read", name); !status.ok()) return status;
  for (;;) {
    const ssize_t n = ::pread(file, buffer.data(), buffer.size(), place);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Failure(name, errno);
    count = static_cast<size_t>(n);
    return Status::Ok();
  }
}

Status Disk::Write(int file, std::string_view bytes, const std::string& name) const {
  if (Status status = Begin("write", name); !status.ok()) return status;
  while (!bytes.empty()) {
    const ssize_t n = ::write(file, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Failure(name, errno);
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return Status::Ok();
}

Status Disk::WriteAt(int file, int64_t place, std::string_view bytes, const std::string& name) const {
  if (Status status = Begin("write", name); !status.ok()) return status;
  while (!bytes.empty()) {
    const ssize_t n = ::pwrite(file, bytes.data(), bytes.size(), place);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Failure(name, errno);
    bytes.remove_prefix(static_cast<size_t>(n));
    place += n;
  }
  return Status::Ok();
}

Status Disk::Truncate(int file, int64_t size, const std::string& name) const {
  if (Status status = Begin("truncate", name); !status.ok()) return status;
  if (::ftruncate(file, size) != 0 || ::lseek(file, size, SEEK_SET) != size) return Failure(name, errno);
  return Status::Ok();
}

Status Disk::Sync(int file, const std::string& name) const {
  if (Status status = Begin("sync", name); !status.ok()) return status;
  return ::fsync(file) == 0 ? Status::Ok() : Failure(name, errno);
}

Status Disk::Rename(int folder, const std::string& from, const std::string& to) const {
  if (Status status = Begin("rename", to); !status.ok()) return status;
  return ::renameat(folder, from.c_str(), folder, to.c_str()) == 0 ? Status::Ok() : Failure(to, errno);
}

Status Disk::Remove(int folder, const std::string& name) const {
  if (Status status = Begin("remove", name); !status.ok()) return status;
  return ::unlinkat(folder, name.c_str(), 0) == 0 ? Status::Ok() : Failure(name, errno);
}

}  // namespace vantry
