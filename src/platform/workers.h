// Work that blocks, in threads of its own: at most so many at once, the rest waits in order. What became of it is told
// on the loop.
#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "core/status.h"
#include "platform/posix_support.h"

namespace vantry {

// One piece of work. A thread sees nothing else.
class Work {
 public:
  virtual ~Work() = default;
  // In a thread that gets no signals. Throws nothing.
  virtual void Run() = 0;
  // From the loop, while Run may be under way: nobody wants the result any more, so it should end soon.
  virtual void GiveUp() = 0;
};

enum class WorkEnd {
  kDone,      // Run has come to its end.
  kLate,      // It has not in time. It may still be under way, and nothing that it fills in may be read.
  kNoThread,  // It never began: the system has no thread to spare.
};
// What is said of work without an outcome: where it was, and what it is called when it is late. Not for kDone.
Status NoOutcome(WorkEnd end, const std::string& place, const std::string& late);

// Called once, from the loop or from Finish, never from inside Start. It may start further work, or turn the loop.
using WorkTold = std::function<void(WorkEnd end)>;

// A QCoreApplication must exist.
class Workers {
 public:
  explicit Workers(size_t most_at_once);
  // Gives up what is under way and waits for it, two seconds at most. A thread that hangs is left to itself.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Starts the work, or puts it in line; returns its number, which is above 0. `limit` counts from the beginning of
  // Run. Without work the end is told at once, which is from the loop all the same.
  uint64_t Start(std::shared_ptr<Work> work, std::chrono::milliseconds limit, WorkTold told);
  // Nobody is told of this work; it is given up, or never begun. One that has come to its end already is told of
  // nevertheless.
  void Forget(uint64_t number);
  // Threads that have not come to an end, those whose work is late or forgotten too.
  size_t Running() const;

  // Waits until nothing is under way, without turning the loop. What is not done after this time is late, and so is
  // whatever is started later.
  void Finish(std::chrono::milliseconds time);
  bool TimeIsUp() const { return end_ && std::chrono::steady_clock::now() >= *end_; }

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Item {
    uint64_t number = 0;
    std::shared_ptr<Work> work;
    std::chrono::milliseconds span{};
    WorkTold told;  // Empty once it was called.
    WorkEnd end = WorkEnd::kDone;
    Time limit = Time::max();  // Nobody waits for it longer.
    std::atomic<bool> through = false;
    std::thread thread;  // None when it never began.
  };
  // Also with each thread, as one that hangs outlives the rest.
  struct Shared {
    std::mutex mutex;
    std::condition_variable some_through;
    const Descriptor event;  // A thread says here that it is through.
    Shared();
    void MarkThrough(Item& item);
  };

  void Begin();
  void BeginOne(const std::shared_ptr<Item>& item);
  void TellOutcomes();
  std::shared_ptr<Item> NextToTell();
  void Reap();
  bool AllTold() const;

  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
  size_t most_at_once_;
  uint64_t last_number_ = 0;
  std::optional<Time> end_;  // Set by Finish.
  std::deque<std::shared_ptr<Item>> waiting_;
  // In the order of their Start, each up to the end of its thread, which may come later than its outcome.
  std::list<std::shared_ptr<Item>> begun_;
  QSocketNotifier through_notifier_;
  QTimer limit_timer_;
};

}  // namespace vantry
