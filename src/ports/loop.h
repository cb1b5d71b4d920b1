#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace vantry {

// A repeating timer on the loop. Created stopped. A period that passes while its handler runs is not made up for.
class Timer {
 public:
  virtual ~Timer() = default;
  virtual void Start() = 0;  // Starts a new period; a running timer starts over.
  virtual void Stop() = 0;
  virtual bool Enabled() const = 0;
};

// The one event loop. Every handler runs on the thread that turns it.
class Loop {
 public:
  virtual ~Loop() = default;
  virtual std::unique_ptr<Timer> NewTimer(int64_t period_ms, std::function<void()> tick) = 0;
  // Delivers what is pending now and returns. Handlers run inside this call: hold no references into tables across it.
  virtual void Turn() = 0;
  // Ends the loop once the handlers under way have returned.
  virtual void Quit() = 0;
};

}  // namespace vantry
