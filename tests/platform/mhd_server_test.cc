// The HTTP server over real sockets. What its callers may do to others is in tests/system/live_doors_test.py.
#include "platform/mhd_server.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vantry {
namespace {

using ::testing::HasSubstr;

// What a test gives to a stream, and whether somebody holds it.
struct Tap {
  std::string text;
  bool ended = false, held = false;
  HttpBody* body = nullptr;
  int looks = 0;
};

class TapBody final : public HttpBody {
 public:
  explicit TapBody(Tap& tap) : tap_(tap) {
    tap_.held = true;
    tap_.body = this;
  }
  ~TapBody() override {
    tap_.held = false;
    tap_.body = nullptr;
  }
  Filled Fill(std::span<char> room) override {
    ++tap_.looks;
    const size_t count = tap_.text.copy(room.data(), room.size());
    tap_.text.erase(0, count);
    if (!tap_.text.empty()) return {count, Filled::Then::kMore};
    return {count, tap_.ended ? Filled::Then::kEnd : Filled::Then::kWait};
  }

 private:
  Tap& tap_;
};

struct MhdServerTest : ::testing::Test {
  // Longer there than the server, which may keep bodies to its end.
  Tap tap;
  std::vector<Tap> taps;
  int argc = 1;
  char name[2] = "t";
  char* argv[2] = {name, nullptr};
  QCoreApplication application{argc, argv};
  std::unique_ptr<MhdServer> server = std::make_unique<MhdServer>();
  HttpHandler handler = [](const HttpRequest&, const HttpAnswer& answer) {
    HttpReply reply;
    reply.text = "hello";
    answer(std::move(reply));
  };
  HttpRequest seen;
  HttpAnswer later;

  void SetUp() override {
    const Status status =
        server->Start({"127.0.0.1", 0, "", ""}, {}, [this](const HttpRequest& r, const HttpAnswer& a) {
          seen = r;
          handler(r, a);
        });
    ASSERT_TRUE(status.ok()) << status.text;
  }

  int Connect() const {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server->Port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return fd;
  }
  static void Say(int fd, const std::string& text) {
    EXPECT_EQ(::send(fd, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
  }
  // Turns the loop until it holds.
  static bool Until(const std::function<bool()>& holds) {
    QElapsedTimer time;
    time.start();
    while (!holds() && time.elapsed() < 20'000) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return holds();
  }
  // Reads what is there into `text`; false at the end.
  static bool Hear(int fd, std::string& text) {
    char block[65'536];
    ssize_t n = 0;
    while ((n = ::recv(fd, block, sizeof block, MSG_DONTWAIT)) > 0) text.append(block, static_cast<size_t>(n));
    return n < 0;
  }
  static std::string HearUntil(int fd, const std::string& part) {
    std::string text;
    EXPECT_TRUE(Until([&] { return !Hear(fd, text) || text.find(part) != std::string::npos; })) << text;
    return text;
  }
};

TEST_F(MhdServerTest, GivesTheRequestAsItCame) {
  const int fd = Connect();
  Say(fd, "GET /a%20b/%2e?x=%41&y HTTP/1.1\r\nHost: h\r\nX-Odd: 1\r\nx-odd: 2\r\n\r\n");
  EXPECT_THAT(HearUntil(fd, "hello"), HasSubstr("HTTP/1.1 200 OK\r\n"));
  EXPECT_EQ(seen.method, "GET");
  EXPECT_EQ(seen.path, "/a%20b/%2e");
  EXPECT_EQ(seen.query, "x=%41&y");
  EXPECT_EQ(seen.peer, "127.0.0.1");
  EXPECT_EQ(seen.Header("x-odd"), "1");
  EXPECT_EQ(seen.Count("x-odd"), 2);
  EXPECT_FALSE(seen.encrypted);
  // The connection stays.
  Say(fd, "POST /login HTTP/1.1\r\nHost: h\r\nContent-Length: 7\r\n\r\nuser=ab");
  HearUntil(fd, "hello");
  EXPECT_EQ(seen.body, "user=ab");
  Say(fd, "HEAD / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
  std::string text;
  EXPECT_TRUE(Until([&] { return !Hear(fd, text); }));
  EXPECT_THAT(text, HasSubstr("Content-Length: 5\r\n"));
  EXPECT_EQ(text.substr(text.size() - 4), "\r\n\r\n");
  EXPECT_TRUE(Until([&] { return server->Callers() == 0; }));
  ::close(fd);
}

TEST_F(MhdServerTest, AnswersLaterOrNotAtAllWhenTheCallerHasLeft) {
  handler = [this](const HttpRequest&, const HttpAnswer& answer) { later = answer; };
  const int fd = Connect();
  Say(fd, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  ASSERT_TRUE(Until([&] { return later != nullptr; }));
  HttpReply reply;
  reply.status = 303;
  reply.headers = {{"Location", "login"}};
  std::exchange(later, nullptr)(std::move(reply));
  EXPECT_THAT(HearUntil(fd, "\r\n\r\n"), HasSubstr("Location: login\r\n"));
  Say(fd, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  ASSERT_TRUE(Until([&] { return later != nullptr; }));
  ::close(fd);
  server->Stop();
  later({});
  later({});
}

TEST_F(MhdServerTest, AStreamWaitsAndGoesOnWhenWoken) {
  handler = [this](const HttpRequest&, const HttpAnswer& answer) {
    HttpReply reply;
    reply.body = std::make_unique<TapBody>(tap);
    answer(std::move(reply));
  };
  const int fd = Connect();
  Say(fd, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  HearUntil(fd, "\r\n\r\n");
  ASSERT_TRUE(Until([&] { return tap.looks > 0; }));
  const int before = tap.looks;
  QElapsedTimer time;
  time.start();
  while (time.elapsed() < 100) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  EXPECT_EQ(tap.looks, before);  // Nobody looks at a body that waits.
  for (int i = 0; i < 5; ++i) {
    tap.text += "event " + std::to_string(i);
    tap.body->Wake();
    tap.body->Wake();
    HearUntil(fd, "event " + std::to_string(i));
  }
  tap.text = std::string(3'000'000, 'x') + "last";
  tap.ended = true;
  tap.body->Wake();
  const std::string text = HearUntil(fd, "0\r\n\r\n");
  EXPECT_THAT(text.substr(text.size() - 30), HasSubstr("last"));
  EXPECT_TRUE(Until([&] { return !tap.held; }));
  ::close(fd);
}

TEST_F(MhdServerTest, AStreamGoesWithItsCaller) {
  handler = [this](const HttpRequest&, const HttpAnswer& answer) {
    HttpReply reply;
    reply.body = std::make_unique<TapBody>(tap);
    answer(std::move(reply));
  };
  const int fd = Connect();
  Say(fd, "GET / HTTP/1.0\r\nHost: h\r\n\r\n");
  HearUntil(fd, "\r\n\r\n");
  ASSERT_TRUE(Until([&] { return tap.looks > 0; }));
  ::close(fd);
  // Noticed when something is to be sent.
  EXPECT_TRUE(Until([&] {
    if (tap.held) {
      tap.text += "x";
      tap.body->Wake();
    }
    return !tap.held;
  }));
  const int other = Connect();
  Say(other, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  HearUntil(other, "\r\n\r\n");
  ASSERT_TRUE(tap.held);
  server->Stop();
  EXPECT_FALSE(tap.held);
  ::close(other);
}

TEST_F(MhdServerTest, WhatAHandlerThrowsEndsOneConnectionOnly) {
  handler = [](const HttpRequest&, const HttpAnswer&) { throw std::bad_alloc(); };
  const int fd = Connect();
  Say(fd, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  std::string text;
  EXPECT_TRUE(Until([&] { return !Hear(fd, text); }));
  EXPECT_EQ(text, "");
  handler = [](const HttpRequest&, const HttpAnswer& answer) { answer({}); };
  const int other = Connect();
  Say(other, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  EXPECT_THAT(HearUntil(other, "\r\n\r\n"), HasSubstr(" 200 "));
  ::close(fd);
  ::close(other);
}

TEST_F(MhdServerTest, ATakenPortAndABadCertificateAreTold) {
  MhdServer second;
  EXPECT_THAT(second.Start({"127.0.0.1", server->Port(), "", ""}, {}, handler).text, HasSubstr("is taken"));
  EXPECT_THAT(second.Start({"192.0.2.77", 0, "", ""}, {}, handler).text, HasSubstr("address 192.0.2.77"));
  EXPECT_THAT(second.Start({"127.0.0.1", 0, "nonsense", "nonsense"}, {}, handler).text,
              HasSubstr("Certificate or Key"));
  EXPECT_TRUE(second.Start({"127.0.0.1", 0, "", ""}, {}, handler).ok());
}

// Neither here nor in the system's buffers there is more than a little for a caller who takes nothing.
TEST_F(MhdServerTest, LittleIsMadeForACallerWhoTakesNothing) {
  constexpr size_t kAll = 16u << 20;
  tap.text.assign(kAll, 'x');
  handler = [this](const HttpRequest&, const HttpAnswer& answer) {
    HttpReply reply;
    reply.body = std::make_unique<TapBody>(tap);
    answer(std::move(reply));
  };
  const int caller = Connect();
  Say(caller, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  ASSERT_TRUE(Until([&] { return tap.looks > 0; }));
  int turns = 0, looks = 0;
  ASSERT_TRUE(Until([&] {
    if (std::exchange(looks, tap.looks) != tap.looks) turns = 0;
    return ++turns >= 40;
  }));
  EXPECT_LT(kAll - tap.text.size(), 1u << 20);
  ::close(caller);
}

TEST_F(MhdServerTest, ManyStreamsAreServedAtOnce) {
  constexpr size_t kMany = 300;
  taps.resize(kMany);
  size_t begun = 0;
  handler = [&](const HttpRequest&, const HttpAnswer& answer) {
    HttpReply reply;
    reply.body = std::make_unique<TapBody>(taps[begun++]);
    answer(std::move(reply));
  };
  std::vector<int> callers;
  for (size_t i = 0; i < kMany; ++i) {
    callers.push_back(Connect());
    Say(callers.back(), "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
  }
  ASSERT_TRUE(Until([&] { return begun == kMany; }));
  for (int round = 0; round < 5; ++round) {
    for (Tap& one : taps) {
      one.text += "round " + std::to_string(round) + ";";
      one.body->Wake();
    }
    for (const int fd : callers) HearUntil(fd, "round " + std::to_string(round) + ";");
  }
  for (const int fd : callers) ::close(fd);
}

}  // namespace
}  // namespace vantry
