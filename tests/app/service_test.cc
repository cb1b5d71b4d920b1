// The whole engine as a service: what differs, and what does not.
#include <gtest/gtest.h>

#include "app/engine.h"
#include "core/text.h"
#include "support/engine_rig.h"

namespace vantry {
namespace {

struct EngineAsService : EngineTest {
  FakeServiceManager manager;
  EngineAsService() { service = &manager; }
  std::string Registry() { return files.Get("/home/registry.ini"); }
  std::string ProgramLog() { return files.Get("/home/Data/TRL.LOG"); }
};

TEST_F(EngineAsService, StartsAfterEverythingElseIsUp) {
  Sites(1);
  ASSERT_TRUE(Start());
  EXPECT_TRUE(engine->Tables().ServiceMode);
  EXPECT_EQ(engine->Caption(), "Vantry " + AppVersion() + " (Service Mode)");
  EXPECT_TRUE(Contains(Registry(), "ServiceRunning=True"));
  EXPECT_LT(ProgramLog().find("Program started - "), ProgramLog().find("Vantry Service Was Started"));
  EXPECT_EQ(notices.events, std::vector<std::string>{"4 Vantry Service Was Started"});
  EXPECT_EQ(manager.told.front(), "ready");
  EXPECT_TRUE(engine->Monitoring());
}

TEST_F(EngineAsService, AStopSavesWritesItsLineAndEnds) {
  Sites(1);
  ASSERT_TRUE(Start());
  engine->StopBySignal();
  EXPECT_TRUE(loop.quit);
  EXPECT_TRUE(Contains(Registry(), "ServiceRunning=False"));
  EXPECT_LT(ProgramLog().find("Vantry Service Was Stopped"), ProgramLog().find("End of session"));
  EXPECT_EQ(manager.told.back(), "stopping");
}

// The control line closes the program as a window's end would: no service has been stopped by its manager.
TEST_F(EngineAsService, TheControlLineToStopWritesNoLineOfTheService) {
  ASSERT_TRUE(Start());
  engine->Stop();
  EXPECT_TRUE(loop.quit);
  EXPECT_TRUE(Contains(Registry(), "ServiceRunning=False"));
  EXPECT_FALSE(Contains(ProgramLog(), "Was Stopped"));
  EXPECT_EQ(manager.told.back(), "stopping");
}

TEST_F(EngineAsService, ACrashLeavesTheMarkThatRefusesAnApplicationWithWords) {
  ASSERT_TRUE(Start());
  engine.reset();  // No closing.
  EXPECT_TRUE(Contains(Registry(), "ServiceRunning=True"));
  service = nullptr;
  EXPECT_FALSE(Start("ANYTHING"));
  ASSERT_EQ(notices.boxes.size(), 1u);
  service = &manager;
  EXPECT_TRUE(Start()) << "the next start of the service has no words";
  engine->Closing();
  service = nullptr;
  EXPECT_TRUE(Start("ANYTHING")) << "its end has taken the mark back";
}

TEST_F(EngineAsService, TheFirstScanAsksNobody) {
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  Run(14);
  EXPECT_EQ(engine->Tables().Visitors.Count(), 1u);
  EXPECT_TRUE(notices.boxes.empty());
}

TEST_F(EngineAsService, AMissingLogIsAnEventAndNoBox) {
  Sites(1);
  ASSERT_TRUE(Start());
  Run(14);
  const std::string text = "No log file was found in the folder:/logs/ Using mask:access.log";
  EXPECT_TRUE(notices.boxes.empty());
  EXPECT_EQ(notices.events.back(), "1 " + text);
  EXPECT_TRUE(Contains(ProgramLog(), " " + text + "\r\n"));
  EXPECT_TRUE(engine->Tables().Site(1).Paused);
}

TEST_F(EngineAsService, APauseStopsTheTimersAndTheNextScanFollowsTheResumeAtOnce) {
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  Run(14);
  engine->Pause();
  EXPECT_FALSE(engine->Monitoring());
  Log("12:00:20", "10.0.0.2");
  Run(60);
  EXPECT_EQ(engine->Tables().Visitors.Count(), 1u);
  engine->Continue();
  Run(2);
  EXPECT_EQ(engine->Tables().Visitors.Count(), 2u) << "it fell due in the pause";
  EXPECT_EQ(engine->Caption(), "Vantry " + AppVersion() + " [Service Mode]");
  EXPECT_TRUE(Contains(ProgramLog(), "Service Paused") && Contains(ProgramLog(), "Service Resumed"));
}

TEST_F(EngineAsService, AHangUpWithoutLiveEditsEndsNothing) {
  ASSERT_TRUE(Start());
  engine->HangUp();
  EXPECT_FALSE(loop.quit);
  EXPECT_TRUE(Contains(notices.told.back(), "KeepEdits"));
  service = nullptr;
  ASSERT_TRUE(Start());
  engine->HangUp();
  EXPECT_TRUE(loop.quit) << "an application ends with its terminal";
}

}  // namespace
}  // namespace vantry
