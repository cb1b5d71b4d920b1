#pragma once

#include <cstdint>
#include <string_view>

namespace vantry {

// The manager of the machine's services, if it was the one that started the program. Without one all calls do nothing.
class ServiceManager {
 public:
  virtual ~ServiceManager() = default;
  // The program was started by it, and is a service.
  virtual bool Running() const = 0;
  // Within this time it wants the next TellAlive, or it takes the program for stuck; 0: it does not watch.
  virtual int64_t WatchdogMs() const = 0;
  virtual void TellReady() = 0;
  // One line for people who ask how the service is.
  virtual void TellStatus(std::string_view text) = 0;
  virtual void TellAlive() = 0;
  virtual void TellStopping() = 0;
};

}  // namespace vantry
