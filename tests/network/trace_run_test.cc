#include "network/trace_run.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_network.h"
#include "support/fake_resolver.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

HopAnswer Hop(const std::string& address, bool is_end = false, const std::string& note = "") {
  HopAnswer answer;
  answer.target = "10.0.9.9";
  answer.address = address;
  answer.time_us = 12'300;
  answer.is_end = is_end;
  answer.note = note;
  return answer;
}

struct TraceRunTest : ::testing::Test {
  FakeTraceRoute route;
  FakeResolver names;
  std::vector<std::string> told, ends;
  TraceRunEvents Events() {
    return {[this](const TraceHop& h) {
              told.push_back(std::to_string(h.hop) + " " + h.duration + " " + h.address + (h.note.empty() ? "" : "!"));
            },
            [this](int32_t hop, const std::string& name) { told.push_back(std::to_string(hop) + "=" + name); },
            [this](const std::string& text) { ends.push_back(text); }};
  }
  TraceRun run{route, &names, "host.example", Events()};
};

TEST_F(TraceRunTest, HopsComeInTheirOrderWhateverTheirAnswersDo) {
  run.Start();
  ASSERT_EQ(route.UnderWay(), 1u) << "the first goes alone";
  route.TellOf(0, Hop("10.0.0.1"));
  EXPECT_EQ(route.UnderWay(), 4u);
  EXPECT_EQ(route.asked[1].host, "10.0.9.9") << "the name is looked up once";
  route.TellOf(2, Hop("10.0.9.9", true));
  EXPECT_THAT(told, ElementsAre("1 12 ms 10.0.0.1"));
  route.TellOf(1, Hop("10.0.0.2"));
  EXPECT_THAT(told, ElementsAre("1 12 ms 10.0.0.1", "2 12 ms 10.0.0.2", "3 12 ms 10.0.9.9"));
  EXPECT_THAT(ends, ElementsAre("Trace complete."));
  EXPECT_EQ(route.UnderWay(), 0u) << "nothing beyond the host is asked for";
}

TEST_F(TraceRunTest, ASilentHopHasARowOfItsOwn) {
  run.Start();
  route.TellOf(0, Hop(""));
  route.TellOf(1, Hop("10.0.9.9", true));
  EXPECT_THAT(told, ElementsAre("1 * ", "2 12 ms 10.0.9.9"));
}

TEST_F(TraceRunTest, EndsWhereSomebodySaysThatItCannotGoOn) {
  run.Start();
  route.TellOf(0, Hop("10.0.0.1", true, "host unreachable"));
  EXPECT_THAT(told, ElementsAre("1 12 ms 10.0.0.1!"));
  EXPECT_THAT(ends, ElementsAre("10.0.0.1: host unreachable"));
}

TEST_F(TraceRunTest, GivesUpAfterThirtyHops) {
  run.Start();
  for (size_t n = 0; n < 30; ++n) EXPECT_TRUE(route.TellOf(n, Hop(""))) << n;
  EXPECT_EQ(told.size(), 30u);
  EXPECT_EQ(route.asked.size(), 30u);
  EXPECT_THAT(ends, ElementsAre("host.example was not reached within 30 hops."));
}

TEST_F(TraceRunTest, TellsWhatIsWrong) {
  run.Start();
  HopAnswer none;
  none.status = Status::Error(Fail::kNotFound, "host.example: no such name");
  route.TellOf(0, none);
  EXPECT_THAT(told, IsEmpty());
  EXPECT_THAT(ends, ElementsAre("host.example: no such name"));
}

TEST_F(TraceRunTest, NamesComeLater) {
  run.Start();
  route.TellOf(0, Hop("10.0.0.1"));
  route.TellOf(1, Hop("10.0.0.2"));
  route.TellOf(2, Hop("10.0.9.9", true));
  EXPECT_THAT(names.started, ElementsAre("10.0.0.1", "10.0.0.2", "10.0.9.9"));
  names.Answer(3, "host.example");
  names.Answer(1, "", 4, "NXDOMAIN");
  names.Answer(2, "two.example");
  EXPECT_THAT(
      told, ElementsAre("1 12 ms 10.0.0.1", "2 12 ms 10.0.0.2", "3 12 ms 10.0.9.9", "3=host.example", "2=two.example"));
}

TEST_F(TraceRunTest, WithoutAResolverNoNameIsLookedUp) {
  TraceRun quiet(route, nullptr, "10.0.9.9", Events());
  quiet.Start();
  route.TellOf(0, Hop("10.0.0.1", true));
  EXPECT_THAT(names.started, IsEmpty());
}

TEST_F(TraceRunTest, CanBeStopped) {
  run.Start();
  route.TellOf(0, Hop("10.0.0.1"));
  run.Stop();
  EXPECT_EQ(route.UnderWay(), 0u);
  EXPECT_EQ(names.Pending(), 0);
  EXPECT_THAT(ends, ElementsAre("Stopped."));
  run.Stop();
  EXPECT_EQ(ends.size(), 1u);
}

}  // namespace
}  // namespace vantry
