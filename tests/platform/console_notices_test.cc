#include "platform/console_notices.h"

#include <QCoreApplication>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>

#include "platform/process_signals.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(ConsoleNotices, EachNoticeIsOneHarmlessLine) {
  for (const bool journal : {false, true}) {
    ConsoleNotices notices(journal);
    ::testing::internal::CaptureStderr();
    notices.MessageBox(BoxKind::kCritical, "one\r\n\r\ntwo \x1b[2J");
    notices.Tell("three");
    notices.LogEvent("four", EventLevel::kInformation);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              journal ? "<3>vantry: one two ?[2J\n<4>vantry: three\n<6>vantry: four\n"
                      : "vantry: one two ?[2J\nvantry: three\n");
  }
}

// A folder that is the only one in PATH, with a player that notes what it plays.
struct Sounds : ::testing::Test {
  TempFolder folder;
  const std::string path = std::getenv("PATH");
  const std::string sound = folder.path + "ding.wav";
  ConsoleNotices notices{false};

  Sounds() {
    const std::string file = folder.path + "aplay";
    std::ofstream(file) << "#!/bin/sh\necho noise\n/bin/cat /proc/self/status > " << folder.path
                        << "status\necho \"$1\" >> " << folder.path << "played\n";
    ::chmod(file.c_str(), 0755);
    std::ofstream(sound) << "sound";
    ::setenv("PATH", folder.path.c_str(), 1);
  }
  ~Sounds() override { ::setenv("PATH", path.c_str(), 1); }
  std::string Played() const {
    std::string text;
    for (int i = 0; i < 2'000 && text.find('\n') == std::string::npos; ++i) {
      text = ReadAll(folder.path + "played");
      ::poll(nullptr, 0, 5);
    }
    return text;
  }
};

// The program blocks the signals that it takes from its loop; a player that inherited that could not be ended.
TEST_F(Sounds, PlayerStartsWithNoSignalBlocked) {
  int argc = 0;
  QCoreApplication application(argc, nullptr);
  ProcessSignals blocks({});
  sigset_t blocked;
  ::sigprocmask(SIG_BLOCK, nullptr, &blocked);
  ASSERT_TRUE(::sigismember(&blocked, SIGTERM));
  notices.PlaySound(sound);
  EXPECT_EQ(Played(), sound + "\n");
  const std::string status = ReadAll(folder.path + "status");
  EXPECT_NE(status.find("SigBlk:\t0000000000000000"), std::string::npos) << status;
}

TEST_F(Sounds, MissingSoundStartsNoPlayerAndIsToldOnce) {
  ::testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i) notices.PlaySound("/no/such.wav");
  notices.PlaySound(folder.path);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "vantry: The sound file /no/such.wav is not there.\n"
            "vantry: The sound file " +
                folder.path + " is not there.\n");
  notices.PlaySound(sound);
  EXPECT_EQ(Played(), sound + "\n");
}

// A broken sound system would fill the console, at each visitor.
TEST_F(Sounds, PlayersAreSilent) {
  ::testing::internal::CaptureStdout();
  notices.PlaySound(sound);
  EXPECT_EQ(Played(), sound + "\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace vantry
