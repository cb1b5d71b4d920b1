// Fakes that move time by hand and record what they are told.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/sinks.h"
#include "core/tables.h"
#include "core/text.h"
#include "ports/clock.h"
#include "ports/loop.h"
#include "ports/notices.h"
#include "ports/random.h"
#include "ports/service_manager.h"

namespace vantry {

// No two draws are alike.
class FakeRandom final : public Random {
 public:
  bool fails = false;
  uint16_t draws = 0;
  Status Draw(size_t count, std::string& bytes) override {
    if (fails) return Status::Error(Fail::kIo, "no random numbers");
    ++draws;
    bytes.assign(count, '\x11');
    bytes[0] = static_cast<char>(draws >> 8);
    bytes[1] = static_cast<char>(draws & 255);
    return Status::Ok();
  }
};

class FakeClock final : public Clock {
 public:
  WallTime now;
  SteadyTime steady;
  int32_t utc_offset = 0;
  // When the zone changes, earliest first, and its offset from then on; before the first it is utc_offset.
  std::vector<std::pair<UtcTime, int32_t>> changes;

  FakeClock() { now = {MakeDay(2026, 3, 5)->n * kSecondsPerDay + 12 * 3600}; }
  void Advance(int64_t seconds) {
    now.s += seconds;
    steady.ms += seconds * 1000;
  }
  WallTime Now() const override { return now; }
  SteadyTime Steady() const override {
    if (ms_per_look > 0) const_cast<FakeClock*>(this)->steady.ms += ms_per_look;
    return steady;
  }
  int32_t UtcOffset() const override { return utc_offset; }
  int32_t UtcOffsetAt(UtcTime instant) const override {
    int32_t offset = utc_offset;
    for (const auto& [from, after] : changes) {
      if (instant >= from) offset = after;
    }
    return offset;
  }
  int64_t ms_per_look = 0;  // Makes time pass with each look at the steady clock.
};

class FakeLoop final : public Loop {
 public:
  struct FakeTimer;
  using Timers = std::vector<FakeTimer*>;
  struct FakeTimer final : Timer {
    std::weak_ptr<Timers> others;
    int64_t period_ms = 0;
    std::function<void()> tick;
    bool enabled = false;
    ~FakeTimer() override {
      if (const auto all = others.lock()) std::erase(*all, this);
    }
    void Start() override { enabled = true; }
    void Stop() override { enabled = false; }
    bool Enabled() const override { return enabled; }
  };
  const std::shared_ptr<Timers> there = std::make_shared<Timers>();
  Timers& timers = *there;  // Those that there are, oldest first.
  std::function<void()> on_turn;
  int turns = 0;
  bool quit = false;

  std::unique_ptr<Timer> NewTimer(int64_t period_ms, std::function<void()> tick) override {
    auto timer = std::make_unique<FakeTimer>();
    timer->others = there;
    timer->period_ms = period_ms;
    timer->tick = std::move(tick);
    timers.push_back(timer.get());
    return timer;
  }
  void Turn() override {
    ++turns;
    if (on_turn) on_turn();
  }
  void Quit() override { quit = true; }
  // Lets every running timer of this period tick once.
  void Tick(int64_t period_ms) {
    for (FakeTimer* timer : Timers(timers)) {
      const bool is_there = std::find(timers.begin(), timers.end(), timer) != timers.end();
      if (is_there && timer->period_ms == period_ms && timer->enabled) timer->tick();
    }
  }
};

class RecordingNotices final : public Notices {
 public:
  std::vector<std::string> boxes, sounds, events, told;
  int beeps = 0;
  void MessageBox(BoxKind, std::string_view text) override { boxes.emplace_back(text); }
  void Beep() override { ++beeps; }
  void PlaySound(const std::string& path) override { sounds.push_back(path); }
  void LogEvent(std::string_view text, EventLevel level) override {
    events.push_back(std::to_string(static_cast<int>(level)) + " " + std::string(text));
  }
  void Tell(std::string_view text) override { told.emplace_back(text); }
};

class FakeServiceManager final : public ServiceManager {
 public:
  bool running = true;
  int64_t watchdog_ms = 0;
  std::vector<std::string> told;
  bool Running() const override { return running; }
  int64_t WatchdogMs() const override { return watchdog_ms; }
  void TellReady() override { told.emplace_back("ready"); }
  void TellStatus(std::string_view text) override { told.push_back("status " + std::string(text)); }
  void TellAlive() override { told.emplace_back("alive"); }
  void TellStopping() override { told.emplace_back("stopping"); }
};

class RecordingView final : public View {
 public:
  std::vector<std::string> calls;
  void SetStatus(std::string_view text) override { calls.push_back("status " + std::string(text)); }
  void SetDnsStatus(std::string_view text) override { calls.push_back("dns " + std::string(text)); }
  void SetMailStatus(std::string_view text) override { calls.push_back("mail " + std::string(text)); }
  void ShowSqlError(bool shown) override { calls.emplace_back(shown ? "sql error" : "sql well"); }
  void UpdateStatus() override { calls.emplace_back("update"); }
  void RefreshSiteNode(int16_t site) override { calls.push_back("node " + std::to_string(site)); }
  void SetSiteImage(int16_t site, int16_t icon) override {
    calls.push_back("image " + std::to_string(site) + " " + std::to_string(icon));
  }
  void ShowCurrentView() override { calls.emplace_back("view"); }
  void SetTrayTip(std::string_view text) override { calls.push_back("tip " + std::string(text)); }
  void SetCaption(std::string_view text) override { calls.push_back("caption " + std::string(text)); }
  void Show() override { calls.emplace_back("show"); }
  void Hide() override { calls.emplace_back("hide"); }
  int Count(const std::string& call) const { return static_cast<int>(std::count(calls.begin(), calls.end(), call)); }
};

}  // namespace vantry
