#include "platform/console_notices.h"

#include <QCoreApplication>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/stop_signals.h"

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

// The program blocks the signals that it takes from its loop; a player that inherited that could not be ended.
TEST(ConsoleNotices, PlayerStartsWithNoSignalBlocked) {
  char name[] = "/tmp/vantry-test-XXXXXX";
  const std::string folder = ::mkdtemp(name);
  std::ofstream(folder + "/aplay") << "#!/bin/sh\n/bin/cat /proc/self/status > " << folder
                                   << "/status.part\necho \"$1\" > " << folder << "/sound\n/bin/mv " << folder
                                   << "/status.part " << folder << "/status\n";
  ::chmod((folder + "/aplay").c_str(), 0755);
  const std::string path = std::getenv("PATH");
  ::setenv("PATH", folder.c_str(), 1);
  int argc = 0;
  QCoreApplication application(argc, nullptr);
  {
    StopSignals blocks([] {});
    sigset_t blocked;
    ::sigprocmask(SIG_BLOCK, nullptr, &blocked);
    ASSERT_TRUE(::sigismember(&blocked, SIGTERM));
    ConsoleNotices(false).PlaySound("/some/ding.wav");
  }
  ::setenv("PATH", path.c_str(), 1);
  for (int i = 0; i < 2000 && !std::filesystem::exists(folder + "/status"); ++i) ::poll(nullptr, 0, 5);
  EXPECT_EQ(ReadAll(folder + "/sound"), "/some/ding.wav\n");
  EXPECT_NE(ReadAll(folder + "/status").find("SigBlk:\t0000000000000000"), std::string::npos)
      << ReadAll(folder + "/status");
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace vantry
