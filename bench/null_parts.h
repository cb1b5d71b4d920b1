// Ports and neighbours for benchmarks that measure the engine alone.
#pragma once

#include "app/absent_parts.h"
#include "platform/posix_files.h"
#include "platform/system_clock.h"
#include "scan/scan_cycle.h"

namespace vantry::bench {

class NullNotices final : public Notices {
 public:
  void MessageBox(BoxKind, std::string_view) override {}
  void Beep() override {}
  void PlaySound(const std::string&) override {}
  void LogEvent(std::string_view, EventLevel) override {}
  void Tell(std::string_view text) override {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
  }
};

// Counts the turns a scan asks for, and makes them on Qt's loop when told to.
class CountingLoop final : public Loop {
 public:
  std::unique_ptr<Timer> NewTimer(int64_t, std::function<void()>) override { return nullptr; }
  void Turn() override {
    ++turns;
    if (real) real->Turn();
  }
  void Quit() override {}
  Loop* real = nullptr;
  int64_t turns = 0;
};

// The system's clock, which can be made to stand still for scans, so that they never yield.
class BenchClock final : public Clock {
 public:
  WallTime Now() const override { return system_.Now(); }
  SteadyTime Steady() const override { return frozen ? SteadyTime{} : system_.Steady(); }
  int32_t UtcOffset() const override { return system_.UtcOffset(); }
  bool frozen = false;

 private:
  SystemClock system_;
};

// A scan with nothing behind it: no history, no exceptions, no window.
struct Rig {
  LiveTables t;
  Settings settings;
  Regional regional;
  BenchClock clock;
  PosixFiles files;
  CountingLoop loop;
  NullNotices notices;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [](std::string_view) {}, [] {}, [](std::string_view) {},
                  [](std::string_view, EventLevel) {}}};
  NoWindow view;
  NoEventListeners events;
  DoNothingExceptions exceptions;
  DoNothingAlerts alerts;
  DoNothingHistory history;
  DoNothingNames names;
  DoNothingFtp ftp;
  DoNothingDailyWork daily;
  ScanContext context{t,    settings, regional,   log,    clock,   files, loop, notices,
                      view, events,   exceptions, alerts, history, names, ftp,  daily};
  ScanCycle scan{context, [] { return true; }, [](int16_t) { return std::string(); }};

  Rig() { settings.Extension = Settings::DefaultExtensions(); }
};

}  // namespace vantry::bench
