// What a line client promises, of the real one against a server on loopback and of the fake.
#include <QCoreApplication>
#include <QTcpServer>
#include <algorithm>
#include <latch>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/qt_line_client.h"
#include "platform/qt_loop.h"
#include "support/fake_line_client.h"

namespace vantry {
namespace {

using Log = std::vector<std::string>;

// Turns the loop until this holds; the limit only bounds a failure.
template <class F>
bool Until(F&& done) {
  for (int i = 0; i < 20'000 && !done(); ++i) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    ::poll(nullptr, 0, done() ? 0 : 1);
  }
  return done();
}

// Records the events of a client.
struct Listening {
  Log log;
  std::function<void(const std::string& entry)> handler;

  LineClientEvents Events() {
    return {[this](int code, std::string_view text) {
              Add(code == 0 ? "connected" + std::string(text) : "failed: " + std::string(text));
            },
            [this](std::string_view text) { Add(": " + std::string(text)); }};
  }
  void Add(const std::string& entry) {
    log.push_back(entry);
    if (handler) handler(entry);
  }
  bool Logged(const std::string& entry) {
    return Until([&] { return std::find(log.begin(), log.end(), entry) != log.end(); });
  }
};

// The far end of a real client.
struct RealRig {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  QTcpServer server;
  QtLineClient client;
  QTcpSocket* peer = nullptr;  // Of the last connection that was taken.
  int taken = 0;

  RealRig() {
    EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
    port_ = server.serverPort();
    QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
      peer = server.nextPendingConnection();
      ++taken;
    });
  }
  int32_t Port() const { return port_; }
  void Accept() {}
  void Lose() { peer->close(); }
  void Say(const std::string& message) { peer->write((message + "\x01").c_str()); }
  // All that has come from the client on the last connection.
  std::string Received() { return heard_ += peer ? peer->readAll().toStdString() : std::string(); }
  void StopListening() { server.close(); }
  void Refuse() {}

 private:
  int32_t port_ = 0;
  std::string heard_;
};

struct FakeRig {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  FakeLineClient client;
  int taken = 0;
  bool listens = true;

  static int32_t Port() { return 1; }
  void Accept() {
    if (!client.connecting) return;
    ++taken;
    client.Accept();
  }
  void Lose() { client.Lose(); }
  void Say(const std::string& message) { client.Reply(message); }
  std::string Received() {
    std::string text;
    for (const std::string& call : client.calls) text += call.rfind("send ", 0) == 0 ? call.substr(5) : "";
    return text;
  }
  void StopListening() {}
  void Refuse() { client.Refuse(1, "127.0.0.1:1: Connection refused"); }
};

template <class Rig>
struct LineClientContract : ::testing::Test, Listening {
  Rig rig;

  LineClientContract() { rig.client.OnEvents(Events()); }
  void Connect() { rig.client.Connect("127.0.0.1", rig.Port(), "\x01"); }
  void ConnectAndWait() {
    Connect();
    EXPECT_EQ(log, Log{}) << "no event from inside a call";
    rig.Accept();
    ASSERT_TRUE(Logged("connected"));
    ASSERT_TRUE(Until([this] { return rig.taken > 0; }));
    log.clear();
  }
};
using Rigs = ::testing::Types<RealRig, FakeRig>;
TYPED_TEST_SUITE(LineClientContract, Rigs);

TYPED_TEST(LineClientContract, BytesGoOutAndMessagesComeIn) {
  EXPECT_FALSE(this->rig.client.IsConnected());
  this->ConnectAndWait();
  EXPECT_TRUE(this->rig.client.IsConnected());
  this->rig.client.Send("one\x01");
  this->rig.client.Send("two\x01");
  EXPECT_TRUE(Until([this] { return this->rig.Received() == "one\x01two\x01"; }));
  this->rig.Say("OK");
  EXPECT_TRUE(this->Logged(": OK"));
}

TYPED_TEST(LineClientContract, ConnectDoesNothingOnAConnectionOpenOrBeingMade) {
  this->Connect();
  this->Connect();
  this->rig.Accept();
  ASSERT_TRUE(this->Logged("connected"));
  this->Connect();
  this->rig.Accept();
  this->rig.Say("OK");
  ASSERT_TRUE(this->Logged(": OK"));
  EXPECT_EQ(this->log, (Log{"connected", ": OK"}));
  EXPECT_EQ(this->rig.taken, 1);
}

TYPED_TEST(LineClientContract, BytesWithoutAConnectionAreIgnored) {
  this->rig.client.Send("early");
  this->Connect();
  this->rig.client.Send("early");
  this->rig.Accept();
  ASSERT_TRUE(this->Logged("connected"));
  this->rig.client.Send("late");
  EXPECT_TRUE(Until([this] { return this->rig.Received() == "late"; })) << this->rig.Received();
}

TYPED_TEST(LineClientContract, CloseIsNoEventAndAnotherConnectionCanBeMade) {
  this->ConnectAndWait();
  this->rig.client.Close();
  EXPECT_FALSE(this->rig.client.IsConnected());
  this->rig.client.Close();
  this->ConnectAndWait();
  EXPECT_TRUE(Until([this] { return this->rig.taken == 2; }));
  EXPECT_EQ(this->log, Log{});
}

TYPED_TEST(LineClientContract, LossIsNoEventAndAnotherConnectionCanBeMade) {
  this->ConnectAndWait();
  this->rig.Lose();
  EXPECT_TRUE(Until([this] { return !this->rig.client.IsConnected(); }));
  EXPECT_EQ(this->log, Log{});
  this->ConnectAndWait();
  EXPECT_TRUE(Until([this] { return this->rig.taken == 2; }));
}

TYPED_TEST(LineClientContract, LossIsToldAfterTheLastMessageToWhoeverAsks) {
  LineClientEvents events = this->Events();
  events.lost = [this](std::string_view) { this->Add("lost"); };
  this->rig.client.OnEvents(events);
  this->ConnectAndWait();
  this->rig.Say("last words");
  this->rig.Lose();
  EXPECT_TRUE(this->Logged("lost"));
  EXPECT_EQ(this->log, (Log{": last words", "lost"}));
}

TYPED_TEST(LineClientContract, FailedAttemptIsToldAndTheNextOneIsMade) {
  this->rig.StopListening();
  const std::string failed = "failed: 127.0.0.1:" + std::to_string(this->rig.Port()) + ": Connection refused";
  for (int i = 0; i < 2; ++i) {
    this->log.clear();
    this->Connect();
    this->rig.Refuse();
    ASSERT_TRUE(Until([this] { return !this->log.empty(); }));
    EXPECT_EQ(this->log, Log{failed});
    EXPECT_FALSE(this->rig.client.IsConnected());
  }
}

// What only the real one can show.
struct QtLineClientTest : LineClientContract<RealRig> {
  // All that is pending has been handed out when this returns.
  static void Settle() {
    for (int i = 0; i < 10; ++i) {
      QCoreApplication::processEvents(QEventLoop::AllEvents);
      ::poll(nullptr, 0, 1);
    }
  }
  static constexpr size_t kBlock = 64 * 1024;
  // How many blocks are taken for a peer that reads nothing before it is left.
  int SendUntilLeft() {
    rig.peer->setReadBufferSize(1);
    int count = 0;
    for (; count < 10'000 && rig.client.IsConnected(); ++count) rig.client.Send(std::string(kBlock, 'x'));
    EXPECT_FALSE(rig.client.IsConnected());
    return count;
  }
  void SayBytes(const std::string& bytes) { rig.peer->write(bytes.data(), static_cast<qint64>(bytes.size())); }
};

TEST_F(QtLineClientTest, MessagesEndAtTheMarkHoweverTheyAreCut) {
  rig.client.Connect("127.0.0.1", rig.Port(), "ab");
  ASSERT_TRUE(Logged("connected"));
  ASSERT_TRUE(Until([this] { return rig.peer != nullptr; }));
  for (const char c : std::string("oneaabbabtwo")) {
    SayBytes(std::string(1, c));
    rig.peer->flush();
    Settle();
  }
  SayBytes("abthreeabfour");
  ASSERT_TRUE(Logged(": three"));
  EXPECT_EQ(log, (Log{"connected", ": onea", ": b", ": two", ": three"}));
}

TEST_F(QtLineClientTest, WhatWasWholeComesBeforeTheEndIsSeen) {
  ConnectAndWait();
  handler = [this](const std::string& entry) {
    if (entry == ": one") log.push_back(rig.client.IsConnected() ? "still open" : "gone");
  };
  SayBytes("one\x01two\x01torn");
  rig.peer->close();
  ASSERT_TRUE(Logged(": two"));
  EXPECT_TRUE(Until([this] { return !rig.client.IsConnected(); }));
  Settle();
  log.erase(log.begin() + 1);
  EXPECT_EQ(log, (Log{": one", ": two"}));
}

TEST_F(QtLineClientTest, EventsNeverNestThoughAHandlerTurnsTheLoop) {
  ConnectAndWait();
  QtLoop loop;
  handler = [&](const std::string& entry) {
    if (entry != ": one") return;
    SayBytes("three\x01");
    for (int i = 0; i < 20; ++i) {
      ::poll(nullptr, 0, 1);
      loop.Turn();
    }
    log.emplace_back("end of one");
  };
  SayBytes("one\x01two\x01");
  ASSERT_TRUE(Logged(": three"));
  EXPECT_EQ(log, (Log{": one", "end of one", ": two", ": three"}));
}

TEST_F(QtLineClientTest, HandlerMayCloseAndConnectAgain) {
  ConnectAndWait();
  handler = [this](const std::string& entry) {
    if (entry != ": again") return;
    rig.client.Close();
    Connect();
  };
  SayBytes("again\x01lost with its connection\x01");
  ASSERT_TRUE(Logged("connected"));
  ASSERT_TRUE(Until([this] { return rig.taken == 2; }));
  rig.Say("new");
  ASSERT_TRUE(Logged(": new"));
  EXPECT_EQ(log, (Log{": again", "connected", ": new"}));
}

TEST_F(QtLineClientTest, HandlerMayCloseWhenTheAttemptFails) {
  handler = [this](const std::string&) {
    rig.client.Close();
    if (log.size() < 3) rig.client.Connect("", 1, "\x01");
  };
  rig.client.Connect("", 1, "\x01");
  EXPECT_EQ(log, Log{}) << "no event from inside a call";
  ASSERT_TRUE(Until([this] { return log.size() == 3; }));
}

TEST_F(QtLineClientTest, HostAndPortThatCantBeAreFailedAttempts) {
  for (const auto& [host, port, problem] : {std::tuple{"", 3339, ":3339: the name of the host is empty"},
                                            {"localhost", 0, "localhost:0: the port must be from 1 to 65535"},
                                            {"::1", 65'536, "[::1]:65536: the port must be from 1 to 65535"},
                                            {"localhost", -1, "localhost:-1: the port must be from 1 to 65535"}}) {
    rig.client.Connect(host, port, "\x01");
    EXPECT_TRUE(Logged("failed: " + std::string(problem))) << log.back();
    EXPECT_FALSE(rig.client.IsConnected());
  }
}

TEST_F(QtLineClientTest, HostMayBeAName) {
  rig.client.Connect("localhost", rig.Port(), "\x01");
  EXPECT_TRUE(Logged("connected"));
}

TEST_F(QtLineClientTest, EachAddressOfAHostIsTried) {
  HostAddresses found{{"127.0.0.3", "127.0.0.2", "127.0.0.1"}, ""};
  QtLineClient client(30'000, [&](const std::string&) { return found; });
  client.OnEvents(Events());
  client.Connect("gateway", rig.Port(), "\x01");
  ASSERT_TRUE(Logged("connected"));
  EXPECT_TRUE(client.IsConnected());
  EXPECT_EQ(log.size(), 1u);
  client.Close();
  found.addresses.pop_back();
  client.Connect("gateway", rig.Port(), "\x01");
  EXPECT_TRUE(Logged("failed: gateway:" + std::to_string(rig.Port()) + ": Connection refused"));
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(QtLineClientTest, LookUpThatHangsHoldsUpNobody) {
  const auto release = std::make_shared<std::latch>(1), ended = std::make_shared<std::latch>(1);
  {
    QtLineClient client(200, [release, ended](const std::string& host) {
      if (host == "slow") {
        release->wait();
        ended->count_down();
      }
      return HostAddresses{{"127.0.0.1"}, ""};
    });
    client.OnEvents(Events());
    client.Connect("slow", rig.Port(), "\x01");
    EXPECT_TRUE(Logged("failed: slow:" + std::to_string(rig.Port()) + ": no connection within 200 ms"));
    client.Connect("quick", rig.Port(), "\x01");
    EXPECT_TRUE(Logged("connected"));
  }
  release->count_down();
  ended->wait();
  Settle();
  EXPECT_EQ(log.size(), 2u) << "nobody hears what comes too late";
}

TEST_F(QtLineClientTest, NameThatIsNoneIsAFailedAttempt) {
  rig.client.Connect("no host at all", 3339, "\x01");
  ASSERT_TRUE(Until([this] { return !log.empty(); }));
  EXPECT_EQ(log, Log{"failed: no host at all:3339: Name or service not known"});
}

// A listener whose queue is full leaves callers without an answer.
TEST_F(QtLineClientTest, AttemptWithoutAnAnswerEndsInTime) {
  const int full = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(::bind(full, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(::listen(full, 0), 0);
  ASSERT_EQ(::getsockname(full, reinterpret_cast<sockaddr*>(&address), &size), 0);
  const int fill = ::socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_EQ(::connect(fill, reinterpret_cast<sockaddr*>(&address), size), 0);
  QtLineClient client(200);
  client.OnEvents(Events());
  const int32_t port = ntohs(address.sin_port);
  client.Connect("127.0.0.1", port, "\x01");
  ASSERT_TRUE(Until([this] { return !log.empty(); }));
  EXPECT_EQ(log, Log{"failed: 127.0.0.1:" + std::to_string(port) + ": no connection within 200 ms"});
  EXPECT_FALSE(client.IsConnected());
  client.Connect("127.0.0.1", rig.Port(), "\x01");
  EXPECT_TRUE(Logged("connected"));
  ::close(fill);
  ::close(full);
}

TEST_F(QtLineClientTest, CloseEndsAnAttemptWithoutAnEvent) {
  Connect();
  rig.client.Close();
  rig.client.Connect("", 1, "\x01");
  rig.client.Close();
  Settle();
  EXPECT_EQ(log, Log{});
}

TEST_F(QtLineClientTest, PeerThatReadsNothingIsLeft) {
  ConnectAndWait();
  SendUntilLeft();
  Settle();
  EXPECT_EQ(log, Log{});
}

TEST_F(QtLineClientTest, CloseLetsOutWhatIsQueued) {
  ConnectAndWait();
  // More than the system takes, so that part of it is still here at the close, and less than ends the connection.
  const int count = SendUntilLeft() - static_cast<int>(QtLineClient::kMaxWaiting / kBlock / 2);
  ASSERT_GT(count, 0);
  ConnectAndWait();
  ASSERT_TRUE(Until([this] { return rig.taken == 2; }));
  rig.peer->setReadBufferSize(1);
  std::string bytes;
  for (int i = 0; i < count; ++i) {
    bytes += std::string(kBlock, static_cast<char>('a' + i % 26));
    rig.client.Send(bytes.substr(bytes.size() - kBlock));
  }
  ASSERT_TRUE(rig.client.IsConnected());
  rig.client.Close();
  EXPECT_FALSE(rig.client.IsConnected());
  rig.peer->setReadBufferSize(0);
  std::string received;
  EXPECT_TRUE(Until([&] { return (received = rig.Received()).size() == bytes.size(); })) << received.size();
  EXPECT_TRUE(received == bytes);
  EXPECT_TRUE(Until([this] { return rig.peer->state() == QAbstractSocket::UnconnectedState; }));
}

TEST_F(QtLineClientTest, LongestMessageComesAndALongerOneEndsTheConnection) {
  const std::string longest(QtLineClient::kMaxMessage, 'x');
  for (const std::string& too_long : {longest + "x\x01", longest + "xx"}) {
    ConnectAndWait();
    SayBytes(longest + "\x01");
    ASSERT_TRUE(Logged(": " + longest));
    SayBytes("last\x01" + too_long);
    EXPECT_TRUE(Logged(": last"));
    EXPECT_TRUE(Until([this] { return !rig.client.IsConnected(); }));
    Settle();
    EXPECT_EQ(log.size(), 2u);
    log.clear();
  }
}

TEST_F(QtLineClientTest, FloodComesWholeAndInOrder) {
  ConnectAndWait();
  constexpr int kCount = 2'000;
  const std::string filling(500, 'x');
  std::string flood;
  for (int i = 0; i < kCount; ++i) flood += filling + std::to_string(i) + "\x01";
  SayBytes(flood);
  rig.peer->disconnectFromHost();
  ASSERT_TRUE(Until([this] { return log.size() == kCount; })) << log.size();
  for (int i = 0; i < kCount; ++i) ASSERT_EQ(log[static_cast<size_t>(i)], ": " + filling + std::to_string(i));
  EXPECT_TRUE(Until([this] { return !rig.client.IsConnected(); }));
}

TEST_F(QtLineClientTest, PeerThatClosesAtOnceWasConnected) {
  QObject::connect(&rig.server, &QTcpServer::newConnection, &rig.server, [this] {
    SayBytes("bye\x01");
    rig.peer->close();
  });
  Connect();
  ASSERT_TRUE(Logged(": bye"));
  EXPECT_EQ(log, (Log{"connected", ": bye"}));
  EXPECT_TRUE(Until([this] { return !rig.client.IsConnected(); }));
}

}  // namespace
}  // namespace vantry
