// Waiting for a socket in a worker thread, until the time is up or the loop has lost interest.
#pragma once

#include <chrono>

#include <poll.h>
#include <sys/eventfd.h>

#include "platform/posix_support.h"

namespace vantry {

// Set from the loop, seen by the thread at once.
class StopSign {
 public:
  StopSign() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  void Set() { (void)::eventfd_write(event_.get(), 1); }
  bool IsSet() const;

  enum class Wake { kReady, kLate, kStopped };
  using Time = std::chrono::steady_clock::time_point;
  // Waits for one of these events, or an error, of the socket.
  Wake Wait(int fd, short events, Time until) const;

 private:
  Descriptor event_;
};

}  // namespace vantry
