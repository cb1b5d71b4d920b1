#include "platform/workers.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <signal.h>
#include <sys/eventfd.h>

namespace vantry {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLimitCheck{1'000}, kPatienceAtEnd{2'000};

// Signals are for the thread that turns the loop, and a connection that breaks raises none here.
void BlockSignals() {
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

Status NoOutcome(WorkEnd end, const std::string& place, const std::string& late) {
  return Status::Error(Fail::kIo, place + ": " + (end == WorkEnd::kLate ? late : "no thread could be started"));
}

Workers::Shared::Shared() : event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Workers::Shared::MarkThrough(Item& item) {
  {
    const std::lock_guard lock(mutex);
    item.through = true;
  }
  some_through.notify_all();
  (void)::eventfd_write(event.get(), 1);
}

Workers::Workers(size_t most_at_once)
    : most_at_once_(most_at_once), through_notifier_(shared_->event.get(), QSocketNotifier::Read) {
  QObject::connect(&through_notifier_, &QSocketNotifier::activated, &through_notifier_, [this] {
    eventfd_t count = 0;
    (void)::eventfd_read(shared_->event.get(), &count);
    TellOutcomes();
  });
  limit_timer_.setInterval(kLimitCheck);
  QObject::connect(&limit_timer_, &QTimer::timeout, &limit_timer_, [this] { TellOutcomes(); });
}

Workers::~Workers() {
  for (const auto& item : begun_) {
    if (item->work) item->work->GiveUp();
  }
  {
    std::unique_lock lock(shared_->mutex);
    shared_->some_through.wait_for(lock, kPatienceAtEnd, [this] {
      return std::all_of(begun_.begin(), begun_.end(), [](const auto& item) { return item->through.load(); });
    });
  }
  for (const auto& item : begun_) {
    if (!item->thread.joinable()) continue;
    if (item->through) {
      item->thread.join();
    } else {
      item->thread.detach();
    }
  }
}

uint64_t Workers::Start(std::shared_ptr<Work> work, milliseconds limit, WorkTold told) {
  Reap();
  const auto item = std::make_shared<Item>();
  item->number = ++last_number_;
  item->work = std::move(work);
  item->span = limit;
  item->told = std::move(told);
  if (!item->work || TimeIsUp()) {
    if (item->work) item->end = WorkEnd::kLate;
    begun_.push_back(item);
    shared_->MarkThrough(*item);
  } else {
    waiting_.push_back(item);
    Begin();
  }
  return item->number;
}

// Begins what waits, as far as there is room.
void Workers::Begin() {
  for (size_t running = Running(); !waiting_.empty() && running < most_at_once_; ++running) {
    const auto item = std::move(waiting_.front());
    waiting_.pop_front();
    begun_.push_back(item);
    BeginOne(item);
  }
}

void Workers::BeginOne(const std::shared_ptr<Item>& item) {
  item->limit = steady_clock::now() + item->span;
  if (!limit_timer_.isActive()) limit_timer_.start();
  try {
    item->thread = std::thread([shared = shared_, item] {
      BlockSignals();
      item->work->Run();
      shared->MarkThrough(*item);
    });
  } catch (const std::system_error&) {
    item->end = WorkEnd::kNoThread;
    shared_->MarkThrough(*item);
  }
}

void Workers::Forget(uint64_t number) {
  const auto is_it = [number](const auto& item) { return item->number == number; };
  if (std::erase_if(waiting_, is_it) > 0) return;
  const auto it = std::find_if(begun_.begin(), begun_.end(), is_it);
  if (it == begun_.end() || (*it)->through || !(*it)->told) return;
  (*it)->told = nullptr;
  (*it)->work->GiveUp();
}

size_t Workers::Running() const {
  return static_cast<size_t>(
      std::count_if(begun_.begin(), begun_.end(), [](const auto& item) { return !item->through; }));
}

bool Workers::AllTold() const {
  return waiting_.empty() && std::none_of(begun_.begin(), begun_.end(), [](const auto& item) { return item->told; });
}

// The first that is through, or for which nobody waits any longer.
std::shared_ptr<Workers::Item> Workers::NextToTell() {
  const bool time_is_up = TimeIsUp();
  const auto now = steady_clock::now();
  if (time_is_up) {
    for (; !waiting_.empty(); waiting_.pop_front()) begun_.push_back(waiting_.front());
  }
  const auto next = std::find_if(begun_.begin(), begun_.end(), [&](const auto& item) {
    return item->told && (item->through || time_is_up || now >= item->limit);
  });
  return next == begun_.end() ? nullptr : *next;
}

// Looks from the start each time: who is told may start further work, or turn the loop, in which others are told.
void Workers::TellOutcomes() {
  while (const auto item = NextToTell()) {
    if (!item->through) {
      item->work->GiveUp();
      item->end = WorkEnd::kLate;
    }
    // One that never began is through now.
    if (!item->thread.joinable()) item->through = true;
    std::exchange(item->told, nullptr)(item->end);
  }
  Reap();
  Begin();
  if (AllTold()) limit_timer_.stop();
}

// Lets go of the threads that have done their work.
void Workers::Reap() {
  begun_.remove_if([](const std::shared_ptr<Item>& item) {
    if (item->told || !item->through) return false;
    if (item->thread.joinable()) item->thread.join();
    return true;
  });
}

void Workers::Finish(milliseconds time) {
  end_ = steady_clock::now() + time;
  for (;;) {
    TellOutcomes();
    if (AllTold()) return;
    std::unique_lock lock(shared_->mutex);
    shared_->some_through.wait_until(lock, *end_, [this] {
      return std::any_of(begun_.begin(), begun_.end(), [](const auto& item) { return item->told && item->through; });
    });
  }
}

}  // namespace vantry
