#include "platform/single_instance.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/folder_owner.h"

namespace vantry {
namespace {

// A program that was killed while it started another may leave a child that holds the lock until it has become that
// other. Nobody would start the program once more if it ended now.
bool LockSoon(int fd) {
  constexpr auto kPause = std::chrono::milliseconds(20);
  for (int tries = 25; ::flock(fd, LOCK_EX | LOCK_NB) != 0; --tries) {
    if (errno != EWOULDBLOCK || tries == 0) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

std::string FolderOfFile(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

// One that root makes in somebody else's folder is that one's, who could not start there afterwards. Only a file that
// was made just now is given away: what was there could be a link to any other.
int OpenLock(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC;
  const int made = ::open(path.c_str(), kFlags | O_EXCL, 0644);
  if (made < 0) return errno == EEXIST ? ::open(path.c_str(), kFlags, 0644) : -1;
  struct stat folder {};
  if (::geteuid() == 0 && ::stat(FolderOfFile(path).c_str(), &folder) == 0 && folder.st_uid != 0) {
    [[maybe_unused]] const int given = ::fchown(made, folder.st_uid, folder.st_gid);  // If not, it is told then.
  }
  return made;
}

std::string Advice(const std::string& path, int error) {
  if (error != EACCES) return {};
  const passwd* self = ::getpwuid(::geteuid());
  const std::string name = self ? self->pw_name : std::to_string(::geteuid());
  struct stat info {};
  const bool there = ::stat(path.c_str(), &info) == 0;
  return ". This is " + name + ", and " + (there ? "the file" : "its folder") + " belongs to " +
         OwnerOf(there ? path : FolderOfFile(path)) + ". As root, `chown -R " + name + " " + FolderOfFile(path) +
         "` puts that right";
}

}  // namespace

SingleInstance::~SingleInstance() {
  if (fd_ >= 0) ::close(fd_);
}

Status SingleInstance::Acquire() {
  fd_ = OpenLock(path_);
  int error = errno;
  if (fd_ < 0) return Status::Error(Fail::kIo, path_ + ": " + std::strerror(error) + Advice(path_, error));
  if (LockSoon(fd_)) return Status::Ok();
  error = errno;
  ::close(fd_);
  fd_ = -1;
  if (error == EWOULDBLOCK) return Status::Error(Fail::kRefused, path_ + " is held by a running program");
  return Status::Error(Fail::kIo, path_ + ": " + std::strerror(error));
}

}  // namespace vantry
