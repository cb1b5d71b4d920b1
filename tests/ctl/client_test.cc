// Conversations that go wrong, and signals in the middle of one.
#include "ctl/client.h"

#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include "ctl/loopback_server.h"

namespace vantry {
namespace {

Endpoint To(const LoopbackServer& server) {
  return {.host = "127.0.0.1", .port = server.port(), .connect_ms = 5'000, .read_ms = 5'000};
}

TEST(Client, ManyLinesGoOverOneConnection) {
  LoopbackServer server;
  std::vector<std::string> replies;
  ASSERT_TRUE(AskControl(To(server), {"@HELLO", "@PAUSE"}, replies).ok());
  EXPECT_EQ(replies, (std::vector<std::string>{"Vantry 2.0.000 [Running]", "Vantry 2.0.000 [Paused]"}));
}

TEST(Client, SilenceHasAnEndAndAnAdvice) {
  LoopbackServer server;
  server.answers.clear();
  Endpoint endpoint = To(server);
  endpoint.read_ms = 20;
  std::vector<std::string> replies;
  Status status = AskControl(endpoint, {"@HELLO"}, replies);
  EXPECT_EQ(status.fail, Fail::kNotFound);
  EXPECT_TRUE(Contains(status.text, "gave no answer in time. Check that this is Vantry's port")) << status.text;
  std::string reply;
  status = AskList(endpoint, "", reply);
  EXPECT_TRUE(Contains(status.text, "A paused Vantry answers no such request")) << status.text;
}

TEST(Client, ACutAnswerIsAFailure) {
  LoopbackServer server;
  std::vector<std::string> replies;
  for (const char* cut : {"Vantry", ""}) {
    server.answers["@HELLO"] = cut;
    const Status status = AskControl(To(server), {"@HELLO"}, replies);
    EXPECT_EQ(status.fail, Fail::kIo);
    EXPECT_TRUE(Contains(status.text, *cut ? "within an answer" : "without an answer")) << status.text;
  }
}

TEST(Client, ASignalThatIsNoStopInterruptsNothing) {
  struct sigaction action {
  }, before{};
  action.sa_handler = [](int) {};  // Without SA_RESTART, so every wait that is under way ends with EINTR.
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
  LoopbackServer server;
  const pthread_t caller = ::pthread_self();
  int signals = 0;
  server.on_line = [&](const std::string&) {
    for (; signals < 20; ++signals) {
      ::pthread_kill(caller, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  };
  std::vector<std::string> replies;
  const Status status = AskControl(To(server), {"@HELLO"}, replies);
  ::sigaction(SIGUSR1, &before, nullptr);
  EXPECT_TRUE(status.ok()) << status.text;
  EXPECT_EQ(signals, 20);
  EXPECT_EQ(replies, std::vector<std::string>{"Vantry 2.0.000 [Running]"});
}

TEST(Client, AStopEndsAWaitAtOnce) {
  LoopbackServer server;
  server.answers.clear();
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  server.on_line = [&](const std::string&) { (void)!::write(ends[1], "x", 1); };
  Endpoint endpoint = To(server);
  endpoint.stop_fd = ends[0];
  std::vector<std::string> replies;
  EXPECT_EQ(AskControl(endpoint, {"@HELLO"}, replies).fail, Fail::kRefused);
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace vantry
