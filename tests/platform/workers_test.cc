// Threads that wait for a word of the test, so that nothing here depends on time but the limits that are tested.
#include "platform/workers.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Runs until it is let go or given up.
struct Held final : Work {
  explicit Held(bool hang = false) : hangs(hang) {}
  const bool hangs;  // Does not care about being given up.
  std::promise<void> let_go;
  std::future<void> gone = let_go.get_future();
  std::atomic<bool> begun = false, given_up = false;
  std::atomic<bool> released = false;
  void Run() override {
    begun = true;
    gone.wait();
  }
  void GiveUp() override {
    given_up = true;
    if (!hangs) Release();
  }
  void Release() {
    if (!released.exchange(true)) let_go.set_value();
  }
};

struct WorkersTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  std::vector<std::string> told;
  std::unique_ptr<Workers> workers = std::make_unique<Workers>(2);

  std::shared_ptr<Held> Start(const std::string& name, milliseconds limit = std::chrono::hours(1), bool hangs = false) {
    auto work = std::make_shared<Held>(hangs);
    last = workers->Start(work, limit, [this, name](WorkEnd end) {
      told.push_back(name + (end == WorkEnd::kDone ? " done" : end == WorkEnd::kLate ? " late" : " no thread"));
    });
    return work;
  }
  static void TurnUntil(const std::function<bool()>& holds) {
    while (!holds()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
  }
  uint64_t last = 0;
};

using Texts = std::vector<std::string>;

TEST_F(WorkersTest, TellsOnTheLoop) {
  const auto work = Start("a");
  work->Release();
  while (workers->Running() > 0) std::this_thread::yield();
  EXPECT_TRUE(told.empty());
  TurnUntil([&] { return !told.empty(); });
  EXPECT_EQ(told, Texts{"a done"});
}

TEST_F(WorkersTest, WithoutWorkTheEndComesFromTheLoopAllTheSame) {
  workers->Start(nullptr, milliseconds(0), [this](WorkEnd end) { told.push_back(end == WorkEnd::kDone ? "x" : ""); });
  EXPECT_TRUE(told.empty());
  TurnUntil([&] { return !told.empty(); });
  EXPECT_EQ(told, Texts{"x"});
}

TEST_F(WorkersTest, NoMoreRunThanMayAndTheRestWaitsInOrder) {
  const auto a = Start("a"), b = Start("b"), c = Start("c"), d = Start("d");
  EXPECT_EQ(workers->Running(), 2u);
  EXPECT_FALSE(c->begun);
  b->Release();
  TurnUntil([&] { return c->begun.load(); });
  EXPECT_EQ(told, Texts{"b done"});
  EXPECT_FALSE(d->begun);
  a->Release();
  c->Release();
  TurnUntil([&] { return d->begun.load() && told.size() == 3; });
  d->Release();
  TurnUntil([&] { return told.size() == 4; });
  EXPECT_EQ(told.back(), "d done");
}

TEST_F(WorkersTest, WhatIsLateIsToldOnceAndGivenUp) {
  const auto work = Start("a", milliseconds(1), true);
  TurnUntil([&] { return !told.empty(); });
  EXPECT_EQ(told, Texts{"a late"});
  EXPECT_TRUE(work->given_up);
  EXPECT_EQ(workers->Running(), 1u) << "its thread still takes a place";
  work->Release();
  TurnUntil([&] { return workers->Running() == 0; });
  EXPECT_EQ(told.size(), 1u);
}

TEST_F(WorkersTest, NobodyIsToldOfWhatIsForgotten) {
  const auto a = Start("a");
  const uint64_t first = last;
  const auto b = Start("b");
  const auto c = Start("c");
  workers->Forget(last);
  workers->Forget(first);
  workers->Forget(first);
  workers->Forget(4711);
  EXPECT_TRUE(a->given_up);
  b->Release();
  TurnUntil([&] { return !told.empty() && workers->Running() == 0; });
  EXPECT_EQ(told, Texts{"b done"});
  EXPECT_FALSE(c->begun) << "it never began";
}

TEST_F(WorkersTest, WhatHasEndedIsToldThoughItIsForgotten) {
  const auto work = Start("a");
  work->Release();
  while (workers->Running() > 0) std::this_thread::yield();
  workers->Forget(last);
  TurnUntil([&] { return !told.empty(); });
  EXPECT_EQ(told, Texts{"a done"});
}

TEST_F(WorkersTest, FinishTellsWithoutTheLoop) {
  const auto a = Start("a"), b = Start("b"), c = Start("c");
  a->Release();
  workers->Finish(milliseconds(20));
  EXPECT_EQ(told.size(), 3u);
  EXPECT_EQ(told.front(), "a done");
  Start("d");
  EXPECT_EQ(told.size(), 3u) << "never from inside the call";
  TurnUntil([&] { return told.size() == 4; });
  EXPECT_EQ(told.back(), "d late");
}

TEST_F(WorkersTest, WhoIsToldMayStartMore) {
  const auto work = std::make_shared<Held>();
  work->Release();
  workers->Start(work, milliseconds(10'000), [this](WorkEnd) { Start("next")->Release(); });
  TurnUntil([&] { return !told.empty(); });
  EXPECT_EQ(told, Texts{"next done"});
}

TEST_F(WorkersTest, TheEndGivesUpWhatIsUnderWay) {
  const auto a = Start("a");
  workers.reset();
  EXPECT_TRUE(a->given_up);
  EXPECT_TRUE(told.empty());
}

TEST_F(WorkersTest, TheEndLeavesAThreadThatHangs) {
  const auto work = Start("a", std::chrono::hours(1), true);
  const auto begin = steady_clock::now();
  workers.reset();
  EXPECT_LT(steady_clock::now() - begin, milliseconds(10'000));
  work->Release();
  EXPECT_TRUE(told.empty());
}

}  // namespace
}  // namespace vantry
