#include "platform/single_instance.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace vantry {

SingleInstance::~SingleInstance() {
  if (fd_ >= 0) ::close(fd_);
}

Status SingleInstance::Acquire() {
  fd_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd_ < 0) return Status::Error(Fail::kIo, path_ + ": " + std::strerror(errno));
  if (::flock(fd_, LOCK_EX | LOCK_NB) == 0) return Status::Ok();
  const int error = errno;
  ::close(fd_);
  fd_ = -1;
  if (error == EWOULDBLOCK) return Status::Error(Fail::kRefused, path_ + " is held by a running program");
  return Status::Error(Fail::kIo, path_ + ": " + std::strerror(error));
}

}  // namespace vantry
