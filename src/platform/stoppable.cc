#include "platform/stoppable.h"

#include <algorithm>

namespace vantry {

bool StopSign::IsSet() const {
  pollfd look{event_.get(), POLLIN, 0};
  return ::poll(&look, 1, 0) > 0;
}

StopSign::Wake StopSign::Wait(int fd, short events, Time until) const {
  using std::chrono::milliseconds;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(until - std::chrono::steady_clock::now()).count();
    pollfd looks[] = {{event_.get(), POLLIN, 0}, {fd, events, 0}};
    const int ready = ::poll(looks, 2, static_cast<int>(std::clamp<int64_t>(left, 0, 3'600'000)));
    if (ready < 0 && errno == EINTR) continue;
    if (looks[0].revents != 0) return Wake::kStopped;
    if (ready > 0) return Wake::kReady;
    if (left <= 0 || ready < 0) return Wake::kLate;
  }
}

}  // namespace vantry
