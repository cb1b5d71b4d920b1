// What the bodies of the file ports share.
#pragma once

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/status.h"
#include "ports/file_identity.h"
#include "ports/files.h"

namespace vantry {

// Owns a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  bool Close() {
    const int fd = fd_;
    fd_ = -1;
    return fd < 0 || ::close(fd) == 0;
  }
  int Release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }

 private:
  int fd_;
};

// A failed system call on a file, by its errno: kNotFound when the file is not there.
inline Status Failure(const std::string& path, int error) {
  const Fail fail = error == ENOENT || error == ENOTDIR ? Fail::kNotFound : Fail::kIo;
  return Status::Error(fail, path + ": " + std::strerror(error));
}

inline FileLook LookFrom(const struct stat& info) {
  return {static_cast<uint64_t>(info.st_dev),
          static_cast<uint64_t>(info.st_ino),
          int64_t{info.st_size},
          int64_t{info.st_mtim.tv_sec} * 1'000'000'000 + info.st_mtim.tv_nsec,
          {}};
}

// A file that is open, with the name that it has now.
inline Status LookAt(int fd, const std::string& path, FileLook& look) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return Failure(path, errno);
  look = LookFrom(info);
  std::array<char, PATH_MAX> name{};
  const ssize_t size = ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), name.data(), name.size());
  look.path = size > 0 ? std::string(name.data(), static_cast<size_t>(size)) : path;
  return Status::Ok();
}

// Makes the name of a file that was made or replaced durable; a file system that can't do it has done what it can.
inline void SyncFolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  const Descriptor folder(
      ::open(slash == std::string::npos ? "." : path.substr(0, slash + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) (void)::fsync(folder.get());
}

// The last write in nanoseconds of the file system's clock.
inline int64_t WrittenNs(const struct stat& info) {
  return int64_t{info.st_mtim.tv_sec} * 1'000'000'000 + info.st_mtim.tv_nsec;
}

inline FileIdentity IdentityOf(const struct stat& info) {
  return {info.st_size, info.st_ino, WrittenNs(info),
          int64_t{info.st_ctim.tv_sec} * 1'000'000'000 + info.st_ctim.tv_nsec};
}

}  // namespace vantry
