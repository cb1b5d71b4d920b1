#include "monitors/pause.h"

#include <gtest/gtest.h>

#include "support/fakes.h"

namespace vantry {
namespace {

struct PauseTest : ::testing::Test {
  LiveTables t;
  Regional regional;
  FakeClock clock;
  FakeLoop loop;
  RecordingView view;
  std::string written;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [this](std::string_view b) { written += b; }, [] {},
                  [](std::string_view) {}, [](std::string_view, EventLevel) {}}};
  PauseControl pause{t, log, view, "2.0.000"};
  std::unique_ptr<Timer> always = loop.NewTimer(1, [] {});
  std::unique_ptr<Timer> sometimes = loop.NewTimer(1, [] {});
  bool wanted = false;
  PauseTest() {
    pause.AddTimer(*always);
    pause.AddTimer(*sometimes, [this] { return wanted; });
    pause.StartTimers();
    pause.ShowRunning();
  }
};

TEST_F(PauseTest, StopsAndStartsTheTimersAndSaysSo) {
  EXPECT_TRUE(always->Enabled());
  EXPECT_FALSE(sometimes->Enabled());
  pause.Pause();
  EXPECT_FALSE(always->Enabled());
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000 [Paused]");
  wanted = true;
  pause.Continue();
  EXPECT_TRUE(always->Enabled() && sometimes->Enabled());
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000");
  EXPECT_EQ(written, "3/5/2026 12:00:00 PM Service Paused\r\n3/5/2026 12:00:00 PM Service Resumed\r\n");
  EXPECT_EQ(view.calls.back(), "caption Vantry 2.0.000");
}

// The touch timer comes on with a resume whether or not a site asks for it.
TEST_F(PauseTest, SomeTimersComeOnWithEveryResume) {
  const auto touch = loop.NewTimer(1, [] {});
  pause.AddTimer(
      *touch, [] { return false; }, PauseControl::AtResume::kAlways);
  pause.StartTimers();
  EXPECT_FALSE(touch->Enabled());
  pause.Pause();
  pause.Continue();
  EXPECT_TRUE(touch->Enabled());
  EXPECT_FALSE(sometimes->Enabled());
  pause.Pause();
  EXPECT_FALSE(touch->Enabled());
}

TEST_F(PauseTest, CaptionNamesTheServiceMode) {
  t.ServiceMode = true;
  pause.Pause();
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000 [Service Mode] [Paused]");
  pause.Continue();
  EXPECT_EQ(pause.Caption(), "Vantry 2.0.000 [Service Mode]");
}

}  // namespace
}  // namespace vantry
