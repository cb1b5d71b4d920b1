// The resolver against name servers on loopback, good and bad.
#include "platform/cares_resolver.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <algorithm>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <poll.h>

#include "core/text.h"
#include "platform/loopback_name_server.h"

namespace vantry {
namespace {

struct CaresTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  LoopbackNameServer server;
  std::unique_ptr<CaresResolver> resolver;
  std::vector<ResolverAnswer> answers;

  CaresTest() {
    server.answer = [](const NameQuery& q) { return Reply(q, {Labels("h" + q.name)}); };
    Make(server.Place());
  }
  void Make(const std::string& servers, int timeout_ms = 2'000) {
    ResolverOptions options;
    options.servers = servers;
    options.timeout_ms = timeout_ms;
    Make(std::move(options));
  }
  void Make(ResolverOptions options) {
    resolver = std::make_unique<CaresResolver>(std::move(options));
    resolver->OnComplete([this](const ResolverAnswer& a) { answers.push_back(a); });
  }
  // Turns the loop until this holds; the limit only bounds a failure.
  template <class F>
  bool Until(F&& done) {
    for (int i = 0; i < 20'000 && !done(); ++i) {
      QCoreApplication::processEvents(QEventLoop::AllEvents);
      ::poll(nullptr, 0, done() ? 0 : 1);
    }
    return done();
  }
  // The answer to this address.
  ResolverAnswer Ask(const std::string& address) {
    answers.clear();
    const int16_t id = resolver->Start(address);
    EXPECT_GT(id, 0);
    EXPECT_TRUE(answers.empty()) << "never from inside Start";
    EXPECT_TRUE(Until([&] { return !answers.empty(); }));
    if (answers.empty()) return {};
    EXPECT_EQ(answers[0].id, id);
    EXPECT_EQ(answers[0].address, address);
    return answers[0];
  }
  void ExpectFailure(const ResolverAnswer& a, const std::string& description) {
    EXPECT_NE(a.status, 0) << description;
    EXPECT_EQ(a.name, "") << description;
    EXPECT_TRUE(StartsWith(a.description, description)) << a.description << " for " << description;
  }
};

TEST_F(CaresTest, NameOfAnAddress) {
  server.answer = [](const NameQuery& q) { return Reply(q, {Labels("Host-1_a.example")}); };
  const ResolverAnswer a = Ask("10.2.0.254");
  EXPECT_EQ(a.name, "Host-1_a.example");
  EXPECT_EQ(a.status, 0);
  EXPECT_EQ(a.description, "");
  EXPECT_EQ(server.asked, std::vector<std::string>{"254.0.2.10.in-addr.arpa"});
  EXPECT_EQ(resolver->Pending(), 0);
  EXPECT_EQ(resolver->Problem(), "");
}

TEST_F(CaresTest, NameOfAnIPv6AddressFromAServerOnIPv6) {
  LoopbackNameServer v6(QHostAddress::LocalHostIPv6);
  if (!v6.Bound()) GTEST_SKIP() << "no IPv6 on this machine";
  v6.answer = [](const NameQuery& q) { return Reply(q, {Labels("six.example")}); };
  Make(v6.Place());
  EXPECT_EQ(Ask("2001:DB8::1").name, "six.example");
  EXPECT_EQ(v6.asked[0], "1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2.ip6.arpa");
}

TEST_F(CaresTest, FirstOfSeveralNames) {
  server.answer = [](const NameQuery& q) { return Reply(q, {Labels("first.example"), Labels("second.example")}); };
  EXPECT_EQ(Ask("10.0.0.1").name, "first.example");
}

TEST_F(CaresTest, ANegativeAnswerEndsTheRequestAtOnce) {
  server.answer = [](const NameQuery& q) { return Reply(q, {}, kNxDomain); };
  ExpectFailure(Ask("10.0.0.1"), "NXDOMAIN");
  EXPECT_EQ(server.asked.size(), 1u);
  server.answer = [](const NameQuery& q) { return Reply(q, {}); };
  ExpectFailure(Ask("10.0.0.1"), "");
}

TEST_F(CaresTest, AServerThatCanNotAnswerGivesWayToTheNext) {
  for (const Rcode code : {kServFail, kRefused, kNotImp}) {
    server.answer = [code](const NameQuery& q) { return Reply(q, {}, code); };
    Make(server.Place());
    const ResolverAnswer alone = Ask("10.0.0.1");
    ExpectFailure(alone, "");
    EXPECT_NE(alone.description, "") << code;
    LoopbackNameServer next;
    next.answer = [](const NameQuery& q) { return Reply(q, {Labels("next.example")}); };
    Make(server.Place() + "," + next.Place());
    EXPECT_EQ(Ask("10.0.0.1").name, "next.example") << code;
  }
}

TEST_F(CaresTest, SilenceEndsInATimeOutAfterTwoTries) {
  Make(server.Place(), 20);
  server.answer = nullptr;
  ExpectFailure(Ask("10.0.0.1"), "TIMEOUT");
  EXPECT_EQ(server.asked.size(), 2u);
}

TEST_F(CaresTest, NothingListensIsToldAtOnce) {
  const std::string place = LoopbackNameServer().Place();
  Make(place, 60'000);
  ExpectFailure(Ask("10.0.0.1"), "");
}

TEST_F(CaresTest, GarbageIsNoAnswer) {
  Make(server.Place(), 20);
  using namespace std::string_literals;
  const std::vector<std::function<std::string(const NameQuery&)>> garbage = {
      [](const NameQuery&) { return "x"s; },
      [](const NameQuery&) { return std::string(512, '\xFF'); },
      [](const NameQuery& q) { return q.bytes; },
      [](const NameQuery& q) { return q.bytes.substr(0, 2) + std::string(40, '\x80'); },
      [](const NameQuery& q) {
        return Reply(q, {"\x3F"
                         "short"s});
      },
      [](const NameQuery& q) { return Reply(q, {"\xC0\x0C"s}).substr(0, q.bytes.size() + 5); },
      [](const NameQuery& q) {
        // A name that points at itself.
        const std::string whole = Reply(q, {"\xC0\x00"s});
        return whole.substr(0, whole.size() - 1) + static_cast<char>(whole.size() - 2);
      },
  };
  for (size_t i = 0; i < garbage.size(); ++i) {
    server.answer = garbage[i];
    const ResolverAnswer a = Ask("10.0.0.1");
    EXPECT_NE(a.status, 0) << i;
    EXPECT_EQ(a.name, "") << i;
    EXPECT_NE(a.description, "") << i;
  }
}

TEST_F(CaresTest, NamesThatAreNoneAreNotTaken) {
  using namespace std::string_literals;
  const std::string label = '\x3F' + std::string(63, 'a');
  for (const std::string& labels :
       {Labels("<b>.example"), Labels("a b.example"), Labels("m\xC3\xBCller.example"), Labels("tab\t.example"),
        "\x05"
        "a\0b.c\x07"
        "example\0"s,
        Labels("*.example"), Labels("a/b.example"), Labels("10.0.0.9"), "\0"s,
        label + label + label + label.substr(0, 1) + std::string(63, 'b') + "\0"s}) {
    server.answer = [&](const NameQuery& q) { return Reply(q, {labels}); };
    const ResolverAnswer a = Ask("10.0.0.1");
    EXPECT_NE(a.status, 0) << labels;
    EXPECT_EQ(a.name, "") << labels;
    EXPECT_NE(a.description, "") << labels;
  }
}

TEST_F(CaresTest, ForgedAnswerToAnotherQuestionIsPassedOver) {
  LoopbackNameServer forger;
  server.answer = [](const NameQuery& q) {
    std::string forged = Reply(q, {Labels("forged.example")});
    forged[0] = static_cast<char>(forged[0] ^ 1);
    return forged;
  };
  Make(server.Place() + "," + forger.Place(), 20);
  forger.answer = [](const NameQuery& q) { return Reply(q, {Labels("true.example")}); };
  EXPECT_EQ(Ask("10.0.0.1").name, "true.example");
}

TEST_F(CaresTest, SecondServerAnswersForADeadOne) {
  const std::string closed = LoopbackNameServer().Place();
  LoopbackNameServer silent;
  for (const std::string& dead : {closed, silent.Place()}) {
    Make(dead + ";" + server.Place(), 20);
    EXPECT_EQ(Ask("10.0.0.1").name, "h1.0.0.10.in-addr.arpa") << dead;
  }
  EXPECT_FALSE(silent.asked.empty()) << "servers are asked in their order";
}

TEST_F(CaresTest, AnswerTooLongForADatagramComesByTcp) {
  server.answer = [](const NameQuery& q) {
    std::string reply = Reply(q, q.by_tcp ? std::vector{Labels("by.tcp.example")} : std::vector<std::string>{});
    if (!q.by_tcp) reply[2] = static_cast<char>(reply[2] | 2);
    return reply;
  };
  EXPECT_EQ(Ask("10.0.0.1").name, "by.tcp.example");
  EXPECT_EQ(server.asked.size(), 2u);
}

TEST_F(CaresTest, UnreadableListOfServersStartsNothing) {
  Make("127.0.0.1:5353, dns.example");
  EXPECT_EQ(resolver->Problem(), "'dns.example' is no address of a name server");
  EXPECT_EQ(resolver->Start("10.0.0.1"), 0);
  EXPECT_EQ(resolver->Pending(), 0);
}

TEST_F(CaresTest, HundredAndOneAtOnceAllGetTheirOwnName) {
  std::set<int16_t> ids;
  for (int i = 1; i <= 101; ++i) ids.insert(resolver->Start("10.0.0." + std::to_string(i)));
  EXPECT_EQ(ids.size(), 101u);
  EXPECT_EQ(resolver->Pending(), 101);
  ASSERT_TRUE(Until([&] { return answers.size() == 101; }));
  EXPECT_EQ(resolver->Pending(), 0);
  for (const ResolverAnswer& a : answers) {
    EXPECT_EQ("h" + ReverseName(a.address), a.name);
    EXPECT_EQ(ids.erase(a.id), 1u);
  }
}

TEST_F(CaresTest, NumbersBeginAgainAndPassOverTheOneStillPending) {
  server.answer = [](const NameQuery& q) {
    return q.name == "9.0.0.10.in-addr.arpa" ? std::string() : Reply(q, {}, kNxDomain);
  };
  Make(server.Place(), 600'000);
  ASSERT_EQ(Ask("10.0.0.1").id, 1);
  ASSERT_EQ(resolver->Start("10.0.0.9"), 2);
  int16_t last = 2;
  while (last != 32'767) {
    answers.clear();
    const size_t batch = std::min<size_t>(100, static_cast<size_t>(32'767 - last));
    for (size_t i = 0; i < batch; ++i) {
      const int16_t id = resolver->Start("10.0.0.1");
      ASSERT_EQ(id, last + 1);
      last = id;
    }
    ASSERT_TRUE(Until([&] { return answers.size() == batch; })) << last;
  }
  EXPECT_EQ(resolver->Start("10.0.0.1"), 1);
  EXPECT_EQ(resolver->Start("10.0.0.1"), 3);
}

TEST_F(CaresTest, NothingIsDeliveredAfterCancel) {
  bool replied = false;
  server.answer = [&](const NameQuery& q) {
    replied = true;
    return Reply(q, {Labels("late.example")});
  };
  resolver->Start("10.0.0.1");
  ASSERT_TRUE(Until([&] { return replied; }));
  resolver->Cancel();
  EXPECT_EQ(resolver->Pending(), 0);
  EXPECT_EQ(resolver->Start("10.0.0.2"), 0);
  for (int i = 0; i < 50; ++i) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    ::poll(nullptr, 0, 1);
  }
  EXPECT_TRUE(answers.empty());
}

TEST_F(CaresTest, HandlerMayCancelTheRest) {
  for (int i = 1; i <= 20; ++i) resolver->Start("10.0.0." + std::to_string(i));
  int calls = 0;
  resolver->OnComplete([&](const ResolverAnswer&) {
    ++calls;
    resolver->Cancel();
  });
  ASSERT_TRUE(Until([&] { return calls > 0; }));
  for (int i = 0; i < 50; ++i) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    ::poll(nullptr, 0, 1);
  }
  EXPECT_EQ(calls, 1);
}

TEST_F(CaresTest, HandlerMayTurnTheLoopAndStartMore) {
  std::vector<std::string> log;
  resolver->OnComplete([&](const ResolverAnswer& a) {
    log.push_back("+" + a.address);
    EXPECT_EQ(a.name, "h" + ReverseName(a.address));
    if (a.address == "10.0.0.1") {
      EXPECT_GT(resolver->Start("10.0.0.3"), 0);
      EXPECT_TRUE(Until([&] { return std::count(log.begin(), log.end(), "-10.0.0.3") == 1; }));
    }
    log.push_back("-" + a.address);
  });
  resolver->Start("10.0.0.1");
  resolver->Start("10.0.0.2");
  ASSERT_TRUE(Until([&] { return log.size() == 6; }));
  EXPECT_EQ(log,
            (std::vector<std::string>{"+10.0.0.1", "+10.0.0.2", "-10.0.0.2", "+10.0.0.3", "-10.0.0.3", "-10.0.0.1"}));
  EXPECT_EQ(resolver->Pending(), 0);
}

TEST_F(CaresTest, HandlerThatTurnsTheLoopHoldsNoOtherAnswerBack) {
  int calls = 0;
  resolver->OnComplete([&](const ResolverAnswer&) {
    if (++calls > 1) return;
    EXPECT_TRUE(Until([&] { return calls == 2; })) << "the other is there already";
  });
  resolver->Start("10.0.0.1");
  resolver->Start("10.0.0.2");
  EXPECT_TRUE(Until([&] { return calls == 2; }));
}

TEST_F(CaresTest, GoesQuietlyWithRequestsAtEveryStage) {
  server.answer = [](const NameQuery& q) {
    return q.name == "2.0.0.10.in-addr.arpa" ? std::string() : Reply(q, {Labels("x.example")});
  };
  for (int turns = 0; turns < 12; ++turns) {
    for (const char* ip : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) resolver->Start(ip);
    for (int i = 0; i < turns; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents);
    Make(server.Place());
  }
  const size_t before = answers.size();
  resolver.reset();
  QCoreApplication::processEvents(QEventLoop::AllEvents);
  EXPECT_EQ(answers.size(), before);
}

TEST_F(CaresTest, ChangedSystemServersCountFromTheNextRequestOn) {
  QTemporaryDir folder;
  LoopbackNameServer second(QHostAddress("127.0.0.2"), server.Port());
  ASSERT_TRUE(second.Bound());
  second.answer = [](const NameQuery& q) { return Reply(q, {Labels("second.example")}); };
  ResolverOptions options;
  options.system_file = folder.filePath("resolv.conf").toStdString();
  options.port = server.Port();
  std::ofstream(options.system_file) << "nameserver 127.0.0.1\n";
  server.answer = nullptr;
  Make(options);
  const int16_t old = resolver->Start("10.0.0.1");
  ASSERT_TRUE(Until([&] { return server.asked.size() == 1; }));
  std::ofstream(options.system_file) << "# changed\nnameserver 127.0.0.2\n";
  const int16_t young = resolver->Start("10.0.0.2");
  EXPECT_EQ(resolver->Pending(), 2);
  ASSERT_TRUE(Until([&] { return answers.size() == 2; }));
  EXPECT_EQ(answers[0].id, old);
  ExpectFailure(answers[0], "");
  EXPECT_EQ(answers[1].id, young);
  EXPECT_EQ(answers[1].name, "second.example");
}

}  // namespace
}  // namespace vantry
