#include "network/ping_run.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_network.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

PingAnswer Reply(int64_t us, int32_t ttl = 64) {
  PingAnswer answer;
  answer.address = "10.0.0.7";
  answer.road = "ICMP";
  answer.time_us = us;
  answer.bytes = 32;
  answer.ttl = ttl;
  return answer;
}

PingAnswer Silence(Fail fail = Fail::kIo) {
  PingAnswer answer;
  answer.status = Status::Error(fail, "no answer from 10.0.0.7");
  answer.address = "10.0.0.7";
  answer.road = "ICMP";
  return answer;
}

struct PingRunTest : ::testing::Test {
  FakePing ping;
  std::vector<std::string> lines, said;
  int ends = 0;
  PingRun run{ping,
              "host.example",
              32,
              {[this](const std::string& line) { lines.push_back(line); },
               [this](const std::string& text) { said.push_back(text); }, [this] { ++ends; }}};
};

TEST_F(PingRunTest, FivePingsAndTheirSummary) {
  run.Start();
  EXPECT_THAT(lines, ElementsAre("Pinging host.example with 32 bytes of data"));
  EXPECT_TRUE(run.IsRunning());
  EXPECT_TRUE(ping.Tell(Reply(10'000)));
  EXPECT_EQ(lines.back(), "\tReply from 10.0.0.7: bytes=32 Time=10ms TTL=64");
  for (const int64_t us : {20'400, 30'000, 400, 0}) EXPECT_TRUE(ping.Tell(Reply(us)));
  EXPECT_EQ(ends, 1);
  EXPECT_FALSE(run.IsRunning());
  EXPECT_EQ(lines.back(),
            "Ping statistics for host.example\n\tPackets: Sent =  5, Received = 5, Lost = 0\nApproximate round trip "
            "times in milli-seconds:\n\tMinimum = 0ms, Maximum = 30ms, Average = 12ms");
  EXPECT_EQ(lines.size(), 7u);
  EXPECT_EQ(said.back(), "By ICMP");
}

TEST_F(PingRunTest, ASilentHostGivesFiveLinesAndNothingReceived) {
  run.Start();
  for (int n = 0; n < 5; ++n) EXPECT_TRUE(ping.Tell(Silence()));
  ASSERT_EQ(lines.size(), 7u);
  for (size_t n = 1; n <= 5; ++n) EXPECT_EQ(lines[n], "Request timed out.");
  EXPECT_EQ(lines.back(),
            "Ping statistics for host.example\n\tPackets: Sent =  5, Received = 0, Lost = 5\nApproximate round trip "
            "times in milli-seconds:\n\tMinimum = 0ms, Maximum = 0ms, Average = 0ms");
  EXPECT_EQ(said.back(), "no answer from 10.0.0.7. By ICMP");
}

TEST_F(PingRunTest, WhatIsLostIsNotAveraged) {
  run.Start();
  ping.Tell(Silence());
  ping.Tell(Reply(10'000));
  ping.Tell(Silence());
  ping.Tell(Reply(20'000));
  ping.Tell(Silence());
  EXPECT_THAT(lines.back(), ::testing::HasSubstr("Received = 2, Lost = 3\n"));
  EXPECT_THAT(lines.back(), ::testing::HasSubstr("Minimum = 10ms, Maximum = 20ms, Average = 15ms"));
}

TEST_F(PingRunTest, AHostThatDoesNotResolveIsAskedForOnce) {
  run.Start();
  PingAnswer none;
  none.status = Status::Error(Fail::kNotFound, "host.example: Name or service not known");
  ping.Tell(none);
  EXPECT_EQ(ping.asked.size(), 1u);
  ASSERT_EQ(lines.size(), 7u);
  for (size_t n = 1; n <= 5; ++n) EXPECT_EQ(lines[n], "Request timed out.");
  EXPECT_EQ(said.back(), "host.example: Name or service not known");
  EXPECT_EQ(ends, 1);
}

TEST_F(PingRunTest, ANameIsLookedUpOnceAndEachPingHasANumberOfItsOwn) {
  run.Start();
  ping.Tell(Reply(1));
  ping.Tell(Reply(1));
  EXPECT_EQ(ping.asked[0].host, "host.example");
  EXPECT_EQ(ping.asked[1].host, "10.0.0.7");
  EXPECT_EQ(ping.asked[2].host, "10.0.0.7");
  EXPECT_EQ(ping.asked[0].sequence, 1);
  EXPECT_EQ(ping.asked[2].sequence, 3);
  EXPECT_EQ(ping.asked[0].timeout_ms, 2'000);
}

TEST_F(PingRunTest, StopsWithoutAWord) {
  run.Start();
  run.Stop();
  EXPECT_THAT(ping.stopped, ElementsAre(1));
  EXPECT_FALSE(run.IsRunning());
  EXPECT_EQ(ends, 0);
  EXPECT_EQ(lines.size(), 1u);
  EXPECT_THAT(said, IsEmpty());
}

TEST_F(PingRunTest, IsStoppedByItsEnd) {
  {
    PingRun other(ping, "b", 32, {[](const std::string&) {}, [](const std::string&) {}, [] {}});
    other.Start();
  }
  EXPECT_EQ(ping.UnderWay(), 0u);
}

TEST(PingLine, SaysWhenTheTimeToLiveIsNotKnown) {
  EXPECT_EQ(PingLine(Reply(1'500, 0)), "\tReply from 10.0.0.7: bytes=32 Time=2ms TTL=?");
}

}  // namespace
}  // namespace vantry
