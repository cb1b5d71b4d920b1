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

// Nothing is raised.
class DoNothingExceptions final : public ExceptionSink {
 public:
  bool AddException(int16_t, int, LogTime, std::optional<std::string_view>, std::string_view, int32_t) override {
    return false;
  }
  void CheckExceptions(int16_t) override {}
};

class DoNothingAlerts final : public AlertRules {
 public:
  void NameArrived(VisitorRec&) override {}
  int32_t RaiseAlert(const VisitorRec&) override { return 0; }
  void AddAlert(VisitorRec& visitor, int32_t) override { visitor.AlertPending = false; }
};

// Nothing is remembered.
class DoNothingHistory : public VisitHistory {
 public:
  void UpdateVisitor(VisitorRec&, bool) override {}
  void AddVisitToDatabase(VisitorRec&, std::string_view) override {}
  void AddPageToDatabase(const VisitorRec&) override {}
  void AddDownload(const VisitorRec&) override {}
  void UpdateVisitInDatabase(const VisitorRec&) override {}
  void UpdateHackCount(VisitorRec&) override {}
  std::string LookupDNS(std::string_view, VisitorRec*) override { return {}; }
  std::string LookupCountryCode(std::string_view) override { return {}; }
  void UpdateDNS(std::string_view, std::string_view) override {}
  void FlushDatabase() override {}
  void UpdateDaySummaries() override {}
  void CloseDatabase() override {}
};

// Visitors keep their addresses as names.
class DoNothingNames final : public VisitorNames {
 public:
  std::string ResolveVisitor(VisitorRec& visitor) override { return std::string(visitor.IP); }
  std::string CountryName(std::string_view) override { return {}; }
};

// Nobody listens.
class DoNothingEvents final : public VisitorEvents {
 public:
  void VisitorArrived(const std::string&, const VisitorRec&, std::string_view) override {}
  void VisitorPageMove(const std::string&, const VisitorRec&) override {}
  void VisitorLeft(const std::string&, const VisitorRec&) override {}
  void DNSResolved(std::string_view, std::string_view) override {}
};

// Neither reports nor archives.
class DoNothingDailyWork final : public DailyWork {
 public:
  void SendDailyReport(int16_t) override {}
  Status CheckAutoArchive() override { return Status::Ok(); }
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

// The system's clock, which can be stopped for scans, so that they never yield.
class BenchClock final : public Clock {
 public:
  WallTime Now() const override { return {system_.Now().s + ahead_s}; }
  SteadyTime Steady() const override { return frozen ? SteadyTime{} : system_.Steady(); }
  int32_t UtcOffset() const override { return system_.UtcOffset(); }
  int32_t UtcOffsetAt(UtcTime instant) const override { return system_.UtcOffsetAt(instant); }
  bool frozen = false;
  int64_t ahead_s = 0;

 private:
  SystemClock system_;
};

// No log is on another machine.
class DoNothingFtp final : public FtpFetch {
 public:
  void PrepareFetch(int16_t, bool, std::function<void()>) override {}
  bool FTPConnect(int16_t) override { return false; }
  std::string FTPGetFileName(int16_t) override { return {}; }
  void FTPClose(int16_t) override {}
  std::string Trouble(int16_t) override { return {}; }
  void StartDownload(int16_t, int64_t, int) override {}
};

// A scan with nothing attached: no history, no exceptions, no window.
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
  DoNothingEvents events;
  DoNothingExceptions exceptions;
  DoNothingAlerts alerts;
  DoNothingHistory history;
  DoNothingNames names;
  DoNothingFtp ftp;
  DoNothingDailyWork daily;
  std::unique_ptr<ScanContext> context;
  std::unique_ptr<ScanCycle> scan;

  Rig() {
    settings.Extension = Settings::DefaultExtensions();
    Connect(history, exceptions);
  }
  // Scans write their history and raise their exceptions here from now on.
  void Connect(VisitHistory& to, ExceptionSink& raise) {
    context.reset(new ScanContext{t, settings, regional, log, clock, files, loop, notices, view, events, raise, alerts,
                                  to, names, ftp, daily});
    scan = std::make_unique<ScanCycle>(
        *context, [] { return true; }, [](int16_t) { return 0; });
  }
};

}  // namespace vantry::bench
