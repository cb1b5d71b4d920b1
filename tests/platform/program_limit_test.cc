// No more programs at once than the operator wants.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/program_starter.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct ProgramLimitTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  TempFolder folder;
  ProgramStarter programs;
  std::vector<std::string> told;

  void Limit(int32_t most) {
    programs.Limit(most, [this](std::string_view text) { told.emplace_back(text); });
  }
  // Adds the value of a variable to the file "began", and waits until there is a file "go".
  std::string Script() {
    const std::string path = folder.path + "waits.sh";
    std::ofstream(path)
        << "#!/bin/sh\ncd " << folder.path
        << "\necho $vantryValue >> began\ni=0; while [ ! -e go ] && [ $i -lt 1000 ]; do sleep 0.02; i=$((i+1)); done\n"
        << "echo >> ended\n";
    ::chmod(path.c_str(), 0755);
    return path;
  }
  void Start(const std::string& path, const std::string& value) {
    programs.SetEnvironment("vantryValue", value);
    EXPECT_TRUE(programs.Start(path).ok());
  }
  std::string Began() const {
    std::ifstream in(folder.path + "began");
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  template <class Condition>
  bool TurnUntil(Condition holds, int ms = 20'000) {
    QElapsedTimer time;
    time.start();
    while (!holds() && time.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return holds();
  }
  size_t BeganCount() const {
    const std::string began = Began();
    return static_cast<size_t>(std::count(began.begin(), began.end(), '\n'));
  }
  void Go() { std::ofstream(folder.path + "go") << "x"; }
};

TEST_F(ProgramLimitTest, ThoseBeyondItWaitTheirTurnWithTheirVariables) {
  Limit(2);
  const std::string script = Script();
  for (const char* value : {"a", "b", "c", "d", "e"}) Start(script, value);
  EXPECT_EQ(programs.Running(), 2u);
  EXPECT_EQ(programs.Waiting(), 3u);
  EXPECT_TRUE(TurnUntil([&] { return BeganCount() == 2; }));
  TurnUntil([] { return false; }, 100);
  EXPECT_EQ(BeganCount(), 2u);
  Go();
  EXPECT_TRUE(TurnUntil([&] { return programs.Running() == 0 && programs.Waiting() == 0; }));
  std::string began = Began();
  std::sort(began.begin(), began.end());
  EXPECT_EQ(began, "\n\n\n\n\nabcde");
  EXPECT_TRUE(told.empty());
}

TEST_F(ProgramLimitTest, WithoutOneNobodyWaits) {
  const std::string script = Script();
  for (int i = 0; i < 5; ++i) Start(script, "x");
  EXPECT_EQ(programs.Running() + programs.Waiting(), 0u);
  EXPECT_TRUE(TurnUntil([&] { return BeganCount() == 5; }));
  Go();
  // They look for a file in a folder that goes with this test.
  EXPECT_TRUE(TurnUntil([&] {
    std::error_code error;
    return std::filesystem::file_size(folder.path + "ended", error) == 5;
  }));
}

TEST_F(ProgramLimitTest, AProgramThatCantBeStartedWhenItsTurnComesIsTold) {
  Limit(1);
  const std::string script = Script();
  Start(script, "a");
  Start(folder.path + "gone", "b");
  Start(script, "c");
  Go();
  EXPECT_TRUE(TurnUntil([&] { return BeganCount() == 2 && programs.Running() == 0; }));
  ASSERT_EQ(told.size(), 1u);
  EXPECT_NE(told[0].find("gone"), std::string::npos);
}

TEST_F(ProgramLimitTest, AProgramThatFailsToStartTakesNoPlace) {
  Limit(1);
  EXPECT_FALSE(programs.Start(folder.path + "gone").ok());
  std::ofstream(folder.path + "bad") << "no program";
  ::chmod((folder.path + "bad").c_str(), 0755);
  EXPECT_FALSE(programs.Start(folder.path + "bad").ok());
  EXPECT_EQ(programs.Running(), 0u);
}

TEST_F(ProgramLimitTest, TooManyThatWaitAreDroppedAndToldOnce) {
  Limit(1);
  const std::string script = Script();
  for (size_t i = 0; i < ProgramStarter::kMostWaiting + 4; ++i) Start(script, "x");
  EXPECT_EQ(programs.Waiting(), ProgramStarter::kMostWaiting);
  ASSERT_EQ(told.size(), 1u);
  EXPECT_NE(told[0].find("the oldest are dropped"), std::string::npos);
  Limit(0);  // What waits is gone with the starter.
  Go();
  TurnUntil([&] { return programs.Running() == 0; });
}

}  // namespace
}  // namespace vantry
