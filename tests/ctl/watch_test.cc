// The loop of `vantryctl watch`: what it asks, draws and returns, and how it ends.
#include "ctl/watch.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "ctl/loopback_server.h"

namespace vantry {
namespace {

struct WatchTest : ::testing::Test {
  LoopbackServer server;
  std::string asked, out;
  int pictures = 0;  // How many are drawn before the made-up program's user ends the watching.

  int Run(bool once, int end_at = 1) {
    server.on_line = [this, once, end_at](const std::string& line) {
      if (line.empty()) return;
      asked += line.substr(0, line.find(' ')) + " ";
      if (line == "@HELLO" && ++pictures == end_at + 1 && !once) ::kill(::getpid(), SIGTERM);
    };
    ::testing::internal::CaptureStdout();
    const int result = RunWatch({.host = "127.0.0.1", .port = server.port()}, once, 1);
    out = ::testing::internal::GetCapturedStdout();
    return result;
  }
};

TEST_F(WatchTest, OnceDrawsOnePicture) {
  EXPECT_EQ(Run(true), 0);
  EXPECT_EQ(asked, "@HELLO @STATUS GET ");
  EXPECT_TRUE(StartsWith(out, "Vantry 2.0.000 [Running]   127.0.0.1:")) << out;
  EXPECT_TRUE(Contains(out, "No sites are monitored.\n"));
  EXPECT_TRUE(Contains(out, "No visitors.\n"));
}

TEST_F(WatchTest, OnceFailsWhenNobodyAnswers) {
  server.answers["@STATUS"] = "what?\r\n";
  EXPECT_EQ(Run(true), 1);
  EXPECT_TRUE(Contains(out, "waiting for 127.0.0.1:"));
  EXPECT_TRUE(Contains(out, "The answer is no status record: 'what?'")) << out;
}

TEST_F(WatchTest, APausedProgramIsNotAskedForItsList) {
  server.answers["@HELLO"] = "Vantry 2.0.000 [Paused] [Paused]\r\n";
  EXPECT_EQ(Run(true), 0);
  EXPECT_EQ(asked, "@HELLO @STATUS ");
  EXPECT_TRUE(Contains(out, "Paused: `vantryctl continue` makes it go on."));
}

TEST_F(WatchTest, ItRedrawsUntilASignalAndGoesOnOverFailures) {
  server.answers["@STATUS"] = "what?\r\n";
  EXPECT_EQ(Run(false, 3), 0);
  size_t drawn = 0;
  for (size_t at = 0; (at = out.find("waiting for", at)) != std::string::npos; ++at) ++drawn;
  EXPECT_EQ(drawn, 3u) << "the asking that the signal fell into is not drawn";
}

}  // namespace
}  // namespace vantry
