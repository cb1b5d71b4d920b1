// The listener against real sockets on loopback.
#include "platform/socket_listener.h"

#include <QCoreApplication>
#include <map>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/qt_loop.h"
#include "support/fakes.h"

namespace vantry {
namespace {

class Client {
 public:
  // `host` is the last byte of the address it calls from.
  explicit Client(uint16_t port, uint32_t host = 1) : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + host);
    EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    (void)::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
  }
  ~Client() { ::close(fd_); }
  void Send(std::string_view bytes) { EXPECT_EQ(::send(fd_, bytes.data(), bytes.size(), 0), ssize_t(bytes.size())); }
  void HalfClose() { ::shutdown(fd_, SHUT_WR); }
  // What has come so far; "<EOF>" at its end when the server closed, "<RESET>" when it cut off.
  const std::string& Received() {
    char block[65536];
    ssize_t n = 0;
    while ((n = ::recv(fd_, block, sizeof block, 0)) > 0) text_.append(block, static_cast<size_t>(n));
    const bool reset = n < 0 && errno == ECONNRESET;
    if ((n == 0 || reset) && !ended_) {
      ended_ = true;
      text_ += reset ? "<RESET>" : "<EOF>";
    }
    return text_;
  }

 private:
  int fd_;
  bool ended_ = false;
  std::string text_;
};

struct ListenerTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  FakeClock clock;
  QtLoop loop;
  SocketListener listener{clock};
  std::vector<std::string> log;
  std::function<void(int, std::string_view)> on_data;
  std::map<int, Claim> claims;
  std::vector<std::unique_ptr<Client>> crowd;

  ListenerTest() {
    ListenerEvents events;
    events.connected = [this](int n) { log.push_back("+" + std::to_string(n)); };
    events.disconnected = [this](int n) { log.push_back("-" + std::to_string(n)); };
    events.data = [this](int n, std::string_view bytes) {
      log.push_back(std::to_string(n) + ":" + std::string(bytes));
      if (on_data) on_data(n, bytes);
    };
    events.peer_done = [this](int n) { log.push_back("done " + std::to_string(n)); };
    events.claim = [this](int n) { return claims[n]; };
    EXPECT_TRUE(listener.Listen("127.0.0.1", 0, std::move(events)).ok());
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
  void Come(int count, uint32_t host = 1) {
    for (int i = 0; i < count; ++i) crowd.push_back(std::make_unique<Client>(listener.Port(), host));
    Turn();
  }
  // All that loopback has for us is there at once.
  void Turn() {
    for (int i = 0; i < 5; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents);
  }
  int PlacesOf(const std::string& host) {
    int count = 0;
    for (int n = 1; n <= kMaxConnections; ++n) count += listener.IsOpen(n) && listener.RemoteHost(n) == host;
    return count;
  }
  bool Logged(const std::string& entry) {
    return Until([&] { return std::find(log.begin(), log.end(), entry) != log.end(); });
  }
};

TEST_F(ListenerTest, NumbersAreTheLowestFree) {
  Client a(listener.Port()), b(listener.Port());
  ASSERT_TRUE(Logged("+2"));
  EXPECT_TRUE(listener.IsOpen(1) && listener.IsOpen(2));
  EXPECT_EQ(listener.RemoteHost(1), "127.0.0.1");
  EXPECT_GT(listener.RemotePort(1), 0);
  listener.Close(1, true);
  EXPECT_FALSE(listener.IsOpen(1));
  log.clear();
  Client c(listener.Port());
  EXPECT_TRUE(Logged("+1"));
}

TEST_F(ListenerTest, WhoSpeaksFirstHasTheLowestNumber) {
  on_data = [this](int n, std::string_view bytes) {
    listener.Send(n, std::string(bytes) + " answered");
    listener.Close(n, true);
  };
  Client spare(listener.Port());
  ASSERT_TRUE(Logged("+1"));
  Client first(listener.Port());
  ASSERT_TRUE(Logged("+2"));
  log.clear();
  first.Send("first");
  ASSERT_TRUE(Logged("-1"));
  EXPECT_EQ(log, (std::vector<std::string>{"-2", "-1", "+1", "+2", "1:first", "-1"})) << "they changed places";
  EXPECT_TRUE(!listener.IsOpen(1) && listener.IsOpen(2));
  log.clear();
  spare.Send("spare");
  ASSERT_TRUE(Logged("1:spare"));
  EXPECT_EQ(log, (std::vector<std::string>{"-2", "+1", "1:spare", "-1"})) << "it took the place that had become free";
  EXPECT_TRUE(Until([&] { return first.Received() == "first answered<EOF>"; })) << first.Received();
  EXPECT_TRUE(Until([&] { return spare.Received() == "spare answered<EOF>"; })) << spare.Received();
}

TEST_F(ListenerTest, AnswerReachesAPeerThatStoppedSending) {
  on_data = [this](int n, std::string_view) { listener.Send(n, "answer"); };
  Client a(listener.Port());
  a.Send("question");
  a.HalfClose();
  EXPECT_TRUE(Until([&] { return a.Received() == "answer<EOF>"; })) << a.Received();
  EXPECT_EQ(log, (std::vector<std::string>{"+1", "1:question", "done 1", "-1"}));
}

TEST_F(ListenerTest, CloseSendsEverythingFirstThoughBytesAreUnread) {
  const std::string page(3'000'000, 'x');
  on_data = [&](int n, std::string_view) {
    listener.Send(n, page);
    listener.Close(n, true);
    EXPECT_FALSE(listener.IsOpen(n)) << "the number is free at once";
  };
  Client a(listener.Port());
  a.Send("question");
  ASSERT_TRUE(Logged("-1"));
  a.Send("more that nobody reads");
  EXPECT_TRUE(Until([&] { return a.Received().size() == page.size() + 5; }));
}

TEST_F(ListenerTest, PeerThatReadsNothingHoldsUpNobody) {
  on_data = [this](int n, std::string_view bytes) {
    if (bytes == "big") {
      listener.Send(n, std::string(40u << 20, 'x'));
      EXPECT_TRUE(listener.IsOpen(n)) << "one page may be of any size";
      listener.Send(n, "more");
    }
    if (bytes == "small") listener.Send(n, "ok");
  };
  Client lazy(listener.Port()), quick(listener.Port());
  lazy.Send("big");
  quick.Send("small");
  EXPECT_TRUE(Until([&] { return quick.Received() == "ok"; }));
  EXPECT_TRUE(Logged("-1")) << "more than it may owe us";
}

TEST_F(ListenerTest, BigPagesThatNobodyReadsDontFillTheMemory) {
  const std::string page(SocketListener::kMaxLingeringBytes / 2, 'x');
  on_data = [&](int n, std::string_view) {
    listener.Send(n, page);
    listener.Close(n, true);
  };
  std::vector<std::unique_ptr<Client>> lazy;
  for (int i = 0; i < 3; ++i) {
    log.clear();
    lazy.push_back(std::make_unique<Client>(listener.Port()));
    lazy.back()->Send("question");
    ASSERT_TRUE(Logged("-1"));
    clock.steady.ms += 1;
  }
  EXPECT_TRUE(Until([&] { return lazy[0]->Received().ends_with("<RESET>"); })) << "it can tell that its page is cut";
  EXPECT_LT(lazy[0]->Received().size(), page.size()) << "the first gives way";
  EXPECT_TRUE(Until([&] { return lazy[2]->Received().size() == page.size() + 5; })) << "the last is sent on";
}

// 100 MB in pieces of 100,000 bytes.
TEST_F(ListenerTest, ALongTextIsMadeAsItIsRead) {
  auto made = std::make_shared<int>(0);
  on_data = [&](int n, std::string_view bytes) {
    if (bytes == "small") return listener.Send(n, "ok");
    listener.SendPieces(n, [made](std::string& out) {
      if (++*made % 3 == 0) out.append(300'000, static_cast<char>('a' + *made % 23));  // Two of three have nothing.
      return *made < 1000;
    });
    listener.Close(n, true);
  };
  Client slow(listener.Port()), quick(listener.Port());
  slow.Send("big");
  ASSERT_TRUE(Logged("-1"));
  for (int i = 0; i < 200; ++i) Turn();
  const int unread = *made;
  EXPECT_LT(unread, 200) << "what a socket takes, and no more";
  quick.Send("small");
  EXPECT_TRUE(Until([&] { return quick.Received() == "ok"; }));
  EXPECT_TRUE(Until([&] { return slow.Received().ends_with("<EOF>"); }));
  EXPECT_EQ(*made, 1000);
  EXPECT_EQ(slow.Received().size(), 333u * 300'000 + 5);
  std::string expected;
  for (int i = 3; i <= 999; i += 3) expected.append(300'000, static_cast<char>('a' + i % 23));
  EXPECT_EQ(slow.Received(), expected + "<EOF>");
  EXPECT_EQ(made.use_count(), 1) << "the source is gone";
}

TEST_F(ListenerTest, ALongTextEndsWithItsReaderOrWithTheListener) {
  auto source = std::make_shared<int>(0);
  on_data = [&](int n, std::string_view) {
    listener.SendPieces(n, [source](std::string& out) { return !out.append(100'000, 'x').empty(); });
    listener.Close(n, true);
  };
  {
    Client a(listener.Port());
    a.Send("big");
    ASSERT_TRUE(Logged("-1"));
    EXPECT_EQ(source.use_count(), 2);
  }
  EXPECT_TRUE(Until([&] { return source.use_count() == 1; }));
  Client b(listener.Port());
  b.Send("big");
  ASSERT_TRUE(Until([&] { return source.use_count() == 2; }));
  clock.ms_per_look = 100;  // The time for the last bytes passes.
  listener.Shutdown();
  EXPECT_EQ(source.use_count(), 1);
  EXPECT_TRUE(Until([&] { return b.Received().ends_with("<RESET>"); })) << "not like an end";
}

TEST_F(ListenerTest, SlowReaderIsWaitedForAsLongAsItLives) {
  const std::string page(20u << 20, 'x');
  on_data = [&](int n, std::string_view) {
    listener.Send(n, page);
    listener.Close(n, true);
  };
  Client a(listener.Port());
  a.Send("question");
  ASSERT_TRUE(Logged("-1"));
  size_t before = 0;
  for (int i = 0; i < 3; ++i) {
    clock.Advance(3600);
    listener.Sweep();
    ASSERT_TRUE(Until([&] { return a.Received().size() > before; })) << i;
    before = a.Received().size();
  }
  EXPECT_TRUE(Until([&] { return a.Received().size() == page.size() + 5; })) << a.Received().size();
}

// The end of a page that no longer waits with us waits with the system, which would not wait for long if we left it.
TEST_F(ListenerTest, EndOfAPageThatIsReadLateIsNotLost) {
  on_data = [&](int n, std::string_view) {
    listener.Send(n, std::string(1'000'000, 'x'));
    listener.Close(n, true);
  };
  Client a(listener.Port());
  a.Send("question");
  a.HalfClose();
  ASSERT_TRUE(Logged("-1"));
  for (int i = 0; i < 3; ++i) {
    Turn();
    clock.Advance(3600);
    listener.Sweep();
  }
  EXPECT_TRUE(Until([&] { return a.Received().size() == 1'000'005; })) << a.Received().size();
}

TEST_F(ListenerTest, CallersBeyondTheHundredthWaitAndTheSilentGiveWay) {
  Come(100);
  ASSERT_TRUE(Logged("+100"));
  Client late(listener.Port());
  late.Send("late");
  clock.Advance(5);
  crowd[0]->Send("not silent");
  ASSERT_TRUE(Logged("1:not silent"));
  clock.Advance(4);
  listener.Sweep();
  EXPECT_TRUE(listener.IsOpen(2));
  clock.Advance(1);
  ASSERT_TRUE(Logged("2:late")) << "the longest silent gave way after 10 s";
  EXPECT_TRUE(listener.IsOpen(1));
  crowd.erase(crowd.begin() + 2);
  EXPECT_TRUE(Logged("-3"));
}

TEST_F(ListenerTest, ACrowdOfSilentCallersGivesWayTogether) {
  Come(200);
  ASSERT_TRUE(Logged("+100"));
  Client late(listener.Port());
  late.Send("late");
  Turn();
  log.clear();
  clock.Advance(10);
  listener.Sweep();
  EXPECT_EQ(log.size(), 202u) << "one left for each that came, at one look";
  EXPECT_TRUE(Logged("1:late"));
}

TEST_F(ListenerTest, AConsoleGoesWhenNobodyElseIsLeft) {
  Come(100);
  ASSERT_TRUE(Logged("+100"));
  claims[1] = Claim::kConsole;
  crowd[0]->Send("x");
  ASSERT_TRUE(Logged("1:x"));
  clock.Advance(1);
  for (int i = 1; i < 100; ++i) crowd[static_cast<size_t>(i)]->Send("x");
  ASSERT_TRUE(Logged("100:x"));
  clock.Advance(9);
  Come(99);
  listener.Sweep();
  EXPECT_TRUE(listener.IsOpen(1)) << "the others will have been silent soon";
  clock.Advance(1);
  listener.Sweep();
  EXPECT_EQ(std::count_if(log.begin(), log.end(), [](const auto& entry) { return entry[0] == '-'; }), 99);
  EXPECT_EQ(std::count(log.begin(), log.end(), "-1"), 0) << "99 others went";
  for (int n = 2; n <= 100; ++n) claims[n] = Claim::kConsole;
  Come(1);
  listener.Sweep();
  EXPECT_TRUE(Logged("-1"));
}

TEST_F(ListenerTest, ARequestThatDoesNotEndGivesItsPlaceAfter15Seconds) {
  Come(100);
  ASSERT_TRUE(Logged("+100"));
  Come(1);
  const auto trickle = [&](int seconds) {
    for (int s = 0; s < seconds; ++s) {
      for (int i = 0; i < 100; ++i) crowd[static_cast<size_t>(i)]->Send("X");
      Turn();
      clock.Advance(1);
      listener.Sweep();
    }
  };
  trickle(14);
  EXPECT_EQ(std::count(log.begin(), log.end(), "-1"), 0);
  claims[1] = Claim::kAnswering;
  trickle(1);
  EXPECT_TRUE(listener.IsOpen(1)) << "its request has ended";
  EXPECT_EQ(std::count(log.begin(), log.end(), "-2"), 1);
  EXPECT_EQ(std::count(log.begin(), log.end(), "-3"), 0) << "nobody waits any more";
}

TEST_F(ListenerTest, AnAddressHoldsHalfOfThePlacesWhileOthersWait) {
  Come(100);
  ASSERT_TRUE(Logged("+100"));
  for (const auto& client : crowd) client->Send("x");
  ASSERT_TRUE(Logged("100:x"));
  claims[1] = Claim::kConsole;
  Come(20);
  listener.Sweep();
  EXPECT_EQ(std::count(log.begin(), log.end(), "-2"), 0) << "those who wait are of the same address";
  Come(60, 2);
  listener.Sweep();
  EXPECT_EQ(PlacesOf("127.0.0.1"), 50);
  EXPECT_EQ(PlacesOf("127.0.0.2"), 50) << "those who came before them wait on";
  EXPECT_TRUE(listener.IsOpen(1));
  Come(1, 3);
  listener.Sweep();
  EXPECT_EQ(PlacesOf("127.0.0.3"), 0) << "nobody has more than half";
  listener.Close(60, true);
  Turn();
  EXPECT_EQ(listener.RemoteHost(60), "127.0.0.3") << "the first of those whose address has fewest places";
}

TEST_F(ListenerTest, WhoseAnswerIsHeldBackGoesFirst) {
  Come(60, 2);
  Come(40);
  ASSERT_TRUE(Logged("+100"));
  for (int n = 1; n <= 100; ++n) claims[n] = Claim::kAnswering;
  claims[100] = claims[1] = claims[2] = Claim::kSlowed;
  Come(2, 3);
  listener.Sweep();
  EXPECT_EQ(PlacesOf("127.0.0.3"), 2) << "at once";
  EXPECT_TRUE(listener.IsOpen(100) && PlacesOf("127.0.0.2") == 58) << "where most of them are";
  claims[1] = claims[2] = Claim::kAnswering;
  Come(2, 3);
  listener.Sweep();
  EXPECT_EQ(PlacesOf("127.0.0.3"), 3) << "nobody else goes";
}

TEST_F(ListenerTest, ACrowdThatFillsTheRoomForCallersHidesNobody) {
  for (int n = 1; n <= 100; ++n) claims[n] = Claim::kAnswering;
  Come(420);
  Come(1, 2);
  const auto sent_away = [&] {
    return std::count_if(crowd.begin(), crowd.end(), [](const auto& client) { return !client->Received().empty(); });
  };
  listener.Sweep();
  clock.Advance(9);
  listener.Sweep();
  EXPECT_EQ(sent_away(), 0) << "a short crowd is only waited for";
  clock.Advance(1);
  listener.Sweep();
  EXPECT_EQ(sent_away(), 21) << "one for each that came";
  listener.Close(7, true);
  Turn();
  EXPECT_EQ(listener.RemoteHost(7), "127.0.0.2");
}

TEST_F(ListenerTest, HandlerMayTurnTheLoopWithoutLosingOrder) {
  Client a(listener.Port());
  bool turned = false;
  on_data = [&](int n, std::string_view bytes) {
    if (turned) return;
    turned = true;
    EXPECT_EQ(bytes, "one");
    a.Send("two");
    ::poll(nullptr, 0, 20);
    loop.Turn();
    log.push_back("end of one");
    listener.Send(n, "x");
  };
  a.Send("one");
  ASSERT_TRUE(Logged("1:two"));
  EXPECT_EQ(log, (std::vector<std::string>{"+1", "1:one", "end of one", "1:two"}));
}

TEST_F(ListenerTest, TakenPortIsNamed) {
  SocketListener second(clock);
  const Status status = second.Listen("127.0.0.1", listener.Port(), {});
  EXPECT_EQ(status.fail, Fail::kRefused);
  EXPECT_EQ(status.text,
            "address 127.0.0.1, port " + std::to_string(listener.Port()) + ": is taken by another program");
  EXPECT_FALSE(SocketListener(clock).Listen("no address", 0, {}).ok());
}

TEST_F(ListenerTest, ShutdownFlushesAndClosesAll) {
  on_data = [this](int n, std::string_view) {
    listener.Send(n, "XXX");
    listener.Shutdown();
  };
  Client a(listener.Port()), b(listener.Port());
  ASSERT_TRUE(Logged("+2"));
  a.Send("stop");
  EXPECT_TRUE(Until([&] { return a.Received() == "XXX<EOF>"; }));
  EXPECT_TRUE(Until([&] { return b.Received() == "<EOF>"; }));
}

}  // namespace
}  // namespace vantry
