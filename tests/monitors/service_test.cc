#include "monitors/service.h"

#include <map>
#include <stdexcept>

#include <gtest/gtest.h>

#include "config/registry_store.h"
#include "support/fakes.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

using Lines = std::vector<std::string>;

struct ServiceTest : ::testing::Test {
  LiveTables t;
  Regional regional;
  FakeClock clock;
  FakeLoop loop;
  RecordingView view;
  MemoryFiles files;
  RegistryFile registry{files, "/p/registry.ini"};
  std::string written;
  Lines events;
  bool fails = false;  // The event log.
  int sessions_ended = 0;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [this](std::string_view b) { written += b; }, [] {},
                  [this](std::string_view) { events.emplace_back("a box"); },
                  [this](std::string_view text, EventLevel level) {
                    if (fails) throw std::runtime_error("no event log");
                    events.push_back(std::to_string(static_cast<int>(level)) + " " + std::string(text));
                  }}};
  PauseControl pause{t, log, view, "2.0.000"};
  FakeServiceManager manager;
  std::unique_ptr<Timer> scan_timer = loop.NewTimer(2000, [] {});
  Service service{{.t = t,
                   .log = log,
                   .view = view,
                   .loop = loop,
                   .registry = registry,
                   .pause = pause,
                   .manager = &manager,
                   .end_session = [this] {
                     ++sessions_ended;
                     t.Closing = true;
                     service.Ending();
                   }}};
  ServiceTest() {
    pause.AddTimer(*scan_timer);
    pause.StartTimers();
    pause.ShowRunning();
  }
  std::string Running() { return ReadRegistryValue(registry, "Settings", "ServiceRunning", "none"); }
};

TEST_F(ServiceTest, StartSaysSoEverywhere) {
  service.Start();
  EXPECT_TRUE(t.ServiceMode);
  EXPECT_EQ(events, Lines{"4 Vantry Service Was Started"});
  EXPECT_EQ(written, "3/5/2026 12:00:00 PM Vantry Service Was Started\r\n");
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000 (Service Mode)");
  EXPECT_EQ(Running(), "True");
  EXPECT_EQ(view.Count("hide"), 1);
  EXPECT_EQ(manager.told, (Lines{"ready", "status 0 sites, 0 visitors, no scan yet"}));
}

TEST_F(ServiceTest, WithoutAManagerNothingStarts) {
  manager.running = false;
  service.Start();
  EXPECT_FALSE(t.ServiceMode);
  EXPECT_TRUE(events.empty() && manager.told.empty());
  EXPECT_EQ(Running(), "none");
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000");
  // The signals act all the same.
  service.Stop();
  EXPECT_EQ(sessions_ended, 1);
  EXPECT_TRUE(events.empty() && manager.told.empty());
}

TEST_F(ServiceTest, AStartThatFailsLeavesAnApplicationThatTheManagerKeeps) {
  fails = true;
  service.Start();
  EXPECT_FALSE(t.ServiceMode);
  EXPECT_EQ(Running(), "False");
  EXPECT_EQ(written, "3/5/2026 12:00:00 PM no event log From SvcIt_Start\r\n");
  EXPECT_TRUE(events.empty()) << "neither a box nor an event";
  EXPECT_EQ(manager.told.front(), "ready");
}

TEST_F(ServiceTest, StopEndsTheSessionOnce) {
  service.Start();
  manager.told.clear();
  service.Stop();
  service.Stop();
  EXPECT_EQ(events.back(), "4 Vantry Service Was Stopped");
  EXPECT_EQ(Running(), "False");
  EXPECT_EQ(sessions_ended, 1);
  EXPECT_EQ(manager.told, Lines{"stopping"});
}

TEST_F(ServiceTest, PauseAndContinueMarkTheCaption) {
  service.Start();
  manager.told.clear();
  service.Pause();
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000 [Service Mode] [Paused]");
  EXPECT_FALSE(scan_timer->Enabled());
  service.Continue();
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000 [Service Mode]");
  EXPECT_TRUE(scan_timer->Enabled());
  EXPECT_EQ(manager.told,
            (Lines{"status paused, 0 sites, 0 visitors, no scan yet", "status 0 sites, 0 visitors, no scan yet"}));
}

TEST_F(ServiceTest, ControlCodesShowAndHideAndOthersDoNothing) {
  for (const int code : {127, 0, 130, 255, -1}) service.Control(code);
  EXPECT_EQ(view.Count("show") + view.Count("hide"), 0);
  service.Control(128);
  EXPECT_EQ(view.calls.back(), "show");
  service.Control(129);
  EXPECT_EQ(view.calls.back(), "hide");
}

TEST_F(ServiceTest, SignsOfLifeComeFromTheLoopAtHalfTheLimit) {
  manager.watchdog_ms = 3000;
  service.Start();
  manager.told.clear();
  loop.Tick(1500);
  loop.Tick(1500);
  EXPECT_EQ(manager.told, (Lines{"alive", "alive"}));
  service.Pause();
  manager.told.clear();
  loop.Tick(1500);
  EXPECT_EQ(manager.told, Lines{"alive"}) << "a paused program is not stuck";
}

TEST_F(ServiceTest, NobodyWatchesAndNoSignsAreSent) {
  service.Start();
  for (const FakeLoop::FakeTimer* timer : loop.timers) {
    EXPECT_TRUE(timer->period_ms == 2000 || timer->period_ms == Service::kStatusMs) << timer->period_ms;
  }
}

TEST_F(ServiceTest, StatusIsToldWhenItHasChanged) {
  t.Sites.resize(2);
  service.Start();
  EXPECT_EQ(manager.told.back(), "status 2 sites, 0 visitors, no scan yet");
  const size_t before = manager.told.size();
  loop.Tick(Service::kStatusMs);
  EXPECT_EQ(manager.told.size(), before);
  t.Site(1).ScanCount = 1;
  t.Site(1).Scanning = true;
  t.Site(1).LastScanTime = clock.Now();
  loop.Tick(Service::kStatusMs);
  EXPECT_EQ(manager.told.size(), before) << "the first scan has not ended";
  t.Site(1).Scanning = false;
  t.Site(2).Paused = true;
  loop.Tick(Service::kStatusMs);
  EXPECT_EQ(manager.told.back(), "status 2 sites (1 paused), 0 visitors, last scan 12:00:00");
}

}  // namespace
}  // namespace vantry
