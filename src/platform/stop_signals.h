#pragma once

#include <functional>
#include <memory>

namespace vantry {

// To be called before there is a second thread, as each would be ended by what it does not keep away. Keeps SIGPIPE,
// SIGUSR1 and SIGUSR2 from ending the process: a write to a closed socket fails instead, and the other two have no
// meaning yet. SIGTERM, SIGINT and SIGHUP wait for StopSignals.
void TakeSignals();

// Delivers SIGTERM and SIGINT, and SIGHUP by itself, as calls on the loop.
class StopSignals {
 public:
  StopSignals(std::function<void()> stop, std::function<void()> hang_up);
  ~StopSignals();

 private:
  struct Watch;
  std::unique_ptr<Watch> watch_;
};

}  // namespace vantry
