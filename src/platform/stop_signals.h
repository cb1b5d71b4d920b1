#pragma once

#include <functional>
#include <memory>

namespace vantry {

// Delivers SIGTERM, SIGINT and SIGHUP as calls on the loop, and lets writes to closed sockets fail instead of ending
// the process.
class StopSignals {
 public:
  explicit StopSignals(std::function<void()> stop);
  ~StopSignals();

 private:
  struct Watch;
  std::unique_ptr<Watch> watch_;
};

}  // namespace vantry
