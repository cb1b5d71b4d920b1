// The program as a service: what the manager of the machine's services asks of it, and what it tells the manager. The
// engine runs in the same manner; LiveTables::ServiceMode is all that its other parts see of it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/program_log.h"
#include "core/regional.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "monitors/pause.h"
#include "ports/key_store.h"
#include "ports/loop.h"
#include "ports/service_manager.h"

namespace vantry {

struct ServiceContext {
  LiveTables& t;
  ProgramLog& log;
  View& view;
  Loop& loop;
  KeyStore& registry;
  PauseControl& pause;
  ServiceManager* manager = nullptr;  // Null: none.
  std::function<void()> end_session;  // Saves everything and ends the program.
};

class Service {
 public:
  // How often the manager is told of sites and visitors, when that has changed.
  static constexpr int64_t kStatusMs = 10'000;
  // Codes of Control.
  static constexpr int kShow = 128, kHide = 129;

  explicit Service(ServiceContext context) : c_(std::move(context)) {}

  // The program is up. Does nothing unless the manager has started it. A failure leaves it running as an application.
  void Start();
  // The manager, or anybody by a signal, wants the program to end.
  void Stop();
  void Pause();
  void Continue();
  // Shows or hides the window; codes that are not told above are ignored.
  void Control(int code);
  // The session ends: the manager is told, and another copy of the program may run as an application.
  void Ending();

 private:
  bool HasManager() const { return c_.manager && c_.manager->Running(); }
  void RunAsService();
  void WriteRunning(bool running);
  void WatchTheLoop();
  void TellStatus();
  std::string StatusText() const;

  ServiceContext c_;
  std::unique_ptr<Timer> alive_timer_, status_timer_;
  std::string told_;  // The last status.
};

}  // namespace vantry
