#pragma once

#include <functional>
#include <string>

#include "ports/service_manager.h"

namespace vantry {

// systemd, which names a socket for notes of the services that it starts (sd_notify(3)).
class SystemdService final : public ServiceManager {
 public:
  // `tell` hears, once, that no note gets through.
  explicit SystemdService(std::function<void(std::string_view)> tell);

  bool Running() const override { return running_; }
  int64_t WatchdogMs() const override { return watchdog_ms_; }
  void TellReady() override { Note("READY=1"); }
  void TellStatus(std::string_view text) override;
  void TellAlive() override { Note("WATCHDOG=1"); }
  void TellStopping() override { Note("STOPPING=1"); }

 private:
  void Note(const std::string& text);
  std::function<void(std::string_view)> tell_;
  bool running_ = false, told_ = false;
  int64_t watchdog_ms_ = 0;
};

}  // namespace vantry
