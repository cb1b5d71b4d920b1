// What every resolver promises, tried on the real one and on the fake that other tests use.
#include <QCoreApplication>
#include <memory>
#include <set>

#include <gtest/gtest.h>
#include <poll.h>

#include "platform/cares_resolver.h"
#include "platform/loopback_name_server.h"
#include "support/fake_resolver.h"

namespace vantry {
namespace {

// A resolver whose name servers know the addresses below 10.0.0.
struct ResolverSubject {
  virtual ~ResolverSubject() = default;
  virtual Resolver& Get() = 0;
  // Lets what is under way go on for a moment.
  virtual void GoOn() = 0;
};

struct FakeResolverSubject final : ResolverSubject {
  FakeResolver resolver;
  Resolver& Get() override { return resolver; }
  void GoOn() override {
    resolver.AnswerNext([](const std::string& ip) { return ip.rfind("10.0.0.", 0) == 0 ? "known.example" : ""; });
  }
};

struct RealResolverSubject final : ResolverSubject {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  LoopbackNameServer server;
  std::unique_ptr<CaresResolver> resolver;
  RealResolverSubject() {
    server.answer = [](const NameQuery& q) {
      const bool known = q.name.find(".0.0.10.in-addr.arpa") != std::string::npos;
      return known ? Reply(q, {Labels("known.example")}) : Reply(q, {}, kNxDomain);
    };
    ResolverOptions options;
    options.servers = server.Place();
    resolver = std::make_unique<CaresResolver>(std::move(options));
  }
  Resolver& Get() override { return *resolver; }
  void GoOn() override {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    ::poll(nullptr, 0, 1);
  }
};

struct ResolverContract : ::testing::TestWithParam<bool> {
  std::unique_ptr<ResolverSubject> subject;
  std::vector<ResolverAnswer> answers;
  ResolverContract() {
    if (GetParam()) {
      subject = std::make_unique<RealResolverSubject>();
    } else {
      subject = std::make_unique<FakeResolverSubject>();
    }
    R().OnComplete([this](const ResolverAnswer& a) { answers.push_back(a); });
  }
  Resolver& R() { return subject->Get(); }
  bool Answered(size_t count) {
    for (int i = 0; i < 20'000 && answers.size() < count; ++i) subject->GoOn();
    return answers.size() == count;
  }
};
INSTANTIATE_TEST_SUITE_P(Bodies, ResolverContract, ::testing::Bool(),
                         [](const auto& p) { return std::string(p.param ? "Real" : "Fake"); });

TEST_P(ResolverContract, KnownAddressHasANameAndSuccess) {
  const int16_t id = R().Start("10.0.0.1");
  EXPECT_GT(id, 0);
  EXPECT_TRUE(answers.empty());
  ASSERT_TRUE(Answered(1));
  EXPECT_EQ(answers[0].id, id);
  EXPECT_EQ(answers[0].status, 0);
  EXPECT_EQ(answers[0].description, "");
  EXPECT_EQ(answers[0].address, "10.0.0.1");
  EXPECT_EQ(answers[0].name, "known.example");
}

TEST_P(ResolverContract, UnknownAddressHasAFailureAndNoName) {
  for (const std::string address : {"10.9.0.1", "::A:0001"}) {
    answers.clear();
    ASSERT_GT(R().Start(address), 0);
    ASSERT_TRUE(Answered(1));
    EXPECT_NE(answers[0].status, 0);
    EXPECT_NE(answers[0].description, "");
    EXPECT_EQ(answers[0].address, address) << "as it was given";
    EXPECT_EQ(answers[0].name, "");
  }
}

TEST_P(ResolverContract, TextThatIsNoAddressStartsNothing) {
  for (const char* text : {"", "-", "host.example", "10.0.0", "10.0.0.1 "}) EXPECT_EQ(R().Start(text), 0) << text;
  EXPECT_EQ(R().Pending(), 0);
}

TEST_P(ResolverContract, PendingCountsUpToTheDelivery) {
  std::vector<int> pending;
  R().OnComplete([&](const ResolverAnswer& a) {
    answers.push_back(a);
    pending.push_back(R().Pending());
  });
  std::set<int16_t> ids;
  for (int i = 0; i < 3; ++i) ids.insert(R().Start("10.0.0.1"));
  EXPECT_EQ(ids.size(), 3u);
  EXPECT_EQ(R().Pending(), 3);
  ASSERT_TRUE(Answered(3));
  EXPECT_EQ(pending, (std::vector<int>{2, 1, 0}));
}

TEST_P(ResolverContract, CancelEndsEverythingForGood) {
  R().Start("10.0.0.1");
  R().Start("10.0.0.2");
  R().Cancel();
  EXPECT_EQ(R().Pending(), 0);
  EXPECT_EQ(R().Start("10.0.0.3"), 0);
  for (int i = 0; i < 100; ++i) subject->GoOn();
  EXPECT_TRUE(answers.empty());
}

}  // namespace
}  // namespace vantry
