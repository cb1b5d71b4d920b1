// The listener against real sockets on loopback.
#include "platform/socket_listener.h"

#include <QCoreApplication>

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
  explicit Client(uint16_t port) : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    (void)::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
  }
  ~Client() { ::close(fd_); }
  void Send(std::string_view bytes) { EXPECT_EQ(::send(fd_, bytes.data(), bytes.size(), 0), ssize_t(bytes.size())); }
  void HalfClose() { ::shutdown(fd_, SHUT_WR); }
  // What has come so far; "<EOF>" at its end when the server closed.
  const std::string& Received() {
    char block[65536];
    ssize_t n = 0;
    while ((n = ::recv(fd_, block, sizeof block, 0)) > 0) text_.append(block, static_cast<size_t>(n));
    if (n == 0 && !eof_) {
      eof_ = true;
      text_ += "<EOF>";
    }
    return text_;
  }

 private:
  int fd_;
  bool eof_ = false;
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

  ListenerTest() {
    ListenerEvents events;
    events.connected = [this](int n) { log.push_back("+" + std::to_string(n)); };
    events.disconnected = [this](int n) { log.push_back("-" + std::to_string(n)); };
    events.data = [this](int n, std::string_view bytes) {
      log.push_back(std::to_string(n) + ":" + std::string(bytes));
      if (on_data) on_data(n, bytes);
    };
    events.peer_done = [this](int n) { log.push_back("done " + std::to_string(n)); };
    events.may_be_displaced = [](int) { return true; };
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
  EXPECT_TRUE(Until([&] { return lazy[0]->Received().ends_with("<EOF>"); }));
  EXPECT_LT(lazy[0]->Received().size(), page.size()) << "the first gives way";
  EXPECT_TRUE(Until([&] { return lazy[2]->Received().size() == page.size() + 5; })) << "the last is sent on";
}

TEST_F(ListenerTest, SlowReaderIsWaitedForAsLongAsItReads) {
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
    clock.Advance(25);
    ASSERT_TRUE(Until([&] { return a.Received().size() > before; })) << i;
    before = a.Received().size();
  }
  EXPECT_TRUE(Until([&] { return a.Received().size() == page.size() + 5; })) << a.Received().size();
}

TEST_F(ListenerTest, CallersBeyondTheHundredthWaitAndTheSilentGiveWay) {
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 100; ++i) clients.push_back(std::make_unique<Client>(listener.Port()));
  ASSERT_TRUE(Logged("+100"));
  clients.push_back(std::make_unique<Client>(listener.Port()));
  clients.back()->Send("late");
  clock.Advance(5);
  clients[0]->Send("not silent");
  ASSERT_TRUE(Logged("1:not silent"));
  clock.Advance(5);
  ASSERT_TRUE(Logged("2:late")) << "the longest silent gave way after 10 s";
  EXPECT_TRUE(listener.IsOpen(1));
  clients.erase(clients.begin() + 2);
  EXPECT_TRUE(Logged("-3"));
}

TEST_F(ListenerTest, ACrowdOfSilentCallersGivesWayTogether) {
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 200; ++i) clients.push_back(std::make_unique<Client>(listener.Port()));
  ASSERT_TRUE(Logged("+100"));
  Client late(listener.Port());
  late.Send("late");
  log.clear();
  clock.Advance(10);
  ASSERT_TRUE(Logged("+100")) << "all of the first hundred left";
  EXPECT_EQ(std::count(log.begin(), log.end(), "1:late"), 0);
  EXPECT_EQ(log.size(), 200u) << "one left for each that came, at one look";
  clock.Advance(10);
  EXPECT_TRUE(Logged("1:late"));
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
