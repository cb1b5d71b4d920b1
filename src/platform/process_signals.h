#pragma once

#include <functional>
#include <memory>

namespace vantry {

// To be called before there is a second thread, as each would be ended by what it does not keep away. Keeps SIGPIPE
// from ending the process: a write to a closed socket fails instead. The signals below wait for ProcessSignals.
void TakeSignals();

struct SignalHandlers {
  std::function<void()> stop;        // SIGTERM, SIGINT
  std::function<void()> hang_up;     // SIGHUP
  std::function<void()> pause;       // SIGUSR1
  std::function<void()> go_on;       // SIGUSR2
  std::function<void(int)> control;  // SIGRTMIN and SIGRTMIN + 1, as the codes 128 and 129
};

// Delivers signals as calls on the loop, in the order in which the system hands them out. After a stop nothing else of
// the same moment is delivered.
class ProcessSignals {
 public:
  explicit ProcessSignals(SignalHandlers handlers);
  ~ProcessSignals();

 private:
  struct Watch;
  std::unique_ptr<Watch> watch_;
};

}  // namespace vantry
