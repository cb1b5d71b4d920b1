#include "platform/systemd_service.h"

#include <cstdlib>
#include <cstring>

#include <systemd/sd-daemon.h>

namespace vantry {

SystemdService::SystemdService(std::function<void(std::string_view)> tell) : tell_(std::move(tell)) {
  const char* socket = std::getenv("NOTIFY_SOCKET");
  running_ = socket && *socket;
  uint64_t period_us = 0;
  // A period below a millisecond is not one that a loop could keep.
  if (running_ && ::sd_watchdog_enabled(0, &period_us) > 0) watchdog_ms_ = static_cast<int64_t>(period_us / 1000);
}

void SystemdService::TellStatus(std::string_view text) {
  std::string line = "STATUS=";
  // Each line of a note is an assignment of its own.
  for (const char c : text) line += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  Note(line);
}

void SystemdService::Note(const std::string& text) {
  if (!running_) return;
  const int result = ::sd_notify(0, text.c_str());
  if (result >= 0 || told_) return;
  told_ = true;
  tell_(std::string("The service manager can't be told how the program is: ") + std::strerror(-result) +
        ". It names a socket in NOTIFY_SOCKET that takes no notes.");
}

}  // namespace vantry
