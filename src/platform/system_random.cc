#include "platform/system_random.h"

#include <cerrno>
#include <cstring>

#include <sys/random.h>

namespace vantry {

// Requests of up to 256 bytes are answered whole.
Status SystemRandom::Draw(size_t count, std::string& bytes) {
  bytes.assign(count, '\0');
  ssize_t drawn = 0;
  do {
    drawn = ::getrandom(bytes.data(), count, 0);
  } while (drawn < 0 && errno == EINTR);
  if (drawn == static_cast<ssize_t>(count)) return Status::Ok();
  return Status::Error(Fail::kIo, std::string("The system gives no random numbers: ") + std::strerror(errno));
}

}  // namespace vantry
