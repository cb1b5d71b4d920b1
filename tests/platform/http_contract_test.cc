// What everybody who asks web servers promises, tried on the real one and on the fake that other tests use.
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/curl_http.h"
#include "support/fake_http.h"

namespace vantry {
namespace {

// Servers of three kinds: "good" answers, "dead" refuses connections, "silent" takes them and says nothing.
struct HttpSubject {
  virtual ~HttpSubject() = default;
  virtual Http& Get() = 0;
  virtual std::string Place(const std::string& kind) = 0;
  // Lets what is under way go on for a moment.
  virtual void GoOn() = 0;
};

struct FakeHttpSubject final : HttpSubject {
  FakeHttp http;
  int64_t seen = 0;
  Http& Get() override { return http; }
  std::string Place(const std::string& kind) override { return kind + ".example"; }
  void GoOn() override {
    if (seen == http.Last()) return;
    const std::string& url = http.asked[static_cast<size_t>(seen++)];
    if (Contains(url, "silent.")) return;
    if (Contains(url, " ")) {
      http.End(seen, Status::Error(Fail::kBadData, "'my site': that is not the name of a server"));
      return http.TellEnded();
    }
    if (Contains(url, "dead.")) return http.Fail("dead.example: connection refused", seen);
    http.Answer(seen);
  }
};

struct RealHttpSubject final : HttpSubject {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  QTcpServer good, silent;
  std::string dead;
  CurlHttp http;
  RealHttpSubject() {
    QTcpServer gone;
    gone.listen(QHostAddress::LocalHost);
    dead = PlaceOf(gone);
    good.listen(QHostAddress::LocalHost);
    silent.listen(QHostAddress::LocalHost);
    QObject::connect(&good, &QTcpServer::newConnection, &good, [this] {
      QTcpSocket* socket = good.nextPendingConnection();
      QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket] {
        if (!socket->readAll().endsWith("\r\n\r\n")) return;
        socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\nConnection: close\r\n\r\nno");
        socket->disconnectFromHost();
      });
      QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    });
  }
  static std::string PlaceOf(const QTcpServer& server) { return "127.0.0.1:" + std::to_string(server.serverPort()); }
  Http& Get() override { return http; }
  std::string Place(const std::string& kind) override {
    if (kind == "dead") return dead;
    return PlaceOf(kind == "good" ? good : silent);
  }
  void GoOn() override { QCoreApplication::processEvents(QEventLoop::AllEvents, 10); }
};

struct HttpContract : ::testing::TestWithParam<bool> {
  std::unique_ptr<HttpSubject> subject;
  std::map<int64_t, std::vector<Status>> told;  // By request.

  HttpContract() {
    if (GetParam()) {
      subject = std::make_unique<RealHttpSubject>();
    } else {
      subject = std::make_unique<FakeHttpSubject>();
    }
  }
  int64_t Ask(const std::string& kind) { return AskFor("http://" + subject->Place(kind) + "/index.htm"); }
  int64_t AskFor(const std::string& url) {
    const auto number = std::make_shared<int64_t>(0);
    *number = subject->Get().Get(url, [this, number](const Status& status) {
      EXPECT_GT(*number, 0) << "never from inside the call";
      told[*number].push_back(status);
    });
    return *number;
  }
  void TurnUntil(const std::function<bool()>& holds) {
    for (const QDeadlineTimer limit(30'000); !holds(); subject->GoOn()) {
      if (limit.hasExpired()) FAIL() << "waited in vain; " << told.size() << " were told";
    }
  }
  Status OutcomeOf(int64_t request) {
    TurnUntil([&] { return told.contains(request); });
    return told[request].empty() ? Status::Error(Fail::kIo, "nothing was told") : told[request][0];
  }
};

TEST_P(HttpContract, AnyAnswerIsAGoodOne) {
  const int64_t first = Ask("good"), second = Ask("good");
  EXPECT_GT(first, 0);
  EXPECT_NE(first, second);
  EXPECT_TRUE(OutcomeOf(first).ok());
  EXPECT_TRUE(OutcomeOf(second).ok());
}

TEST_P(HttpContract, ADeadServerIsToldWithItsName) {
  const Status status = OutcomeOf(Ask("dead"));
  EXPECT_EQ(status.fail, Fail::kIo);
  EXPECT_EQ(status.text, subject->Place("dead") + ": connection refused");
}

TEST_P(HttpContract, WhatIsNotAnAddressIsToldLikeAnyFailure) {
  const Status status = OutcomeOf(AskFor("http://my site/index.htm"));
  EXPECT_EQ(status.fail, Fail::kBadData);
  EXPECT_EQ(status.text, "'my site': that is not the name of a server");
}

TEST_P(HttpContract, EachOfManyIsToldOnce) {
  std::vector<int64_t> requests;
  requests.reserve(40);
  for (int i = 0; i < 40; ++i) requests.push_back(Ask(i % 2 == 0 ? "good" : "dead"));
  TurnUntil([&] { return told.size() == requests.size(); });
  for (int i = 0; i < 5; ++i) subject->GoOn();
  for (size_t i = 0; i < requests.size(); ++i) {
    ASSERT_EQ(told[requests[i]].size(), 1u);
    EXPECT_EQ(told[requests[i]][0].ok(), i % 2 == 0);
  }
}

TEST_P(HttpContract, ADroppedRequestIsNotTold) {
  const int64_t silent = Ask("silent"), good = Ask("good"), after = Ask("good");
  subject->Get().Reset(good);
  subject->Get().Reset(silent);
  subject->Get().Reset(silent);
  subject->Get().Reset(12'345);
  EXPECT_TRUE(OutcomeOf(after).ok());
  EXPECT_EQ(told.size(), 1u);
}

TEST_P(HttpContract, WhatWaitsIsNotHeldUpByWhatWasDropped) {
  std::vector<int64_t> silent;
  silent.reserve(40);
  for (int i = 0; i < 40; ++i) silent.push_back(Ask("silent"));
  for (const int64_t request : silent) subject->Get().Reset(request);
  EXPECT_TRUE(OutcomeOf(Ask("good")).ok());
}

TEST_P(HttpContract, WhoIsToldMayAskAndDrop) {
  int64_t next = 0;
  bool told_first = false;
  const int64_t silent = Ask("silent");
  subject->Get().Get("http://" + subject->Place("good") + "/", [&](const Status& status) {
    told_first = status.ok();
    subject->Get().Reset(silent);
    next = Ask("good");
  });
  TurnUntil([&] { return next > 0; });
  EXPECT_TRUE(told_first);
  EXPECT_TRUE(OutcomeOf(next).ok());
  EXPECT_FALSE(told.contains(silent));
}

INSTANTIATE_TEST_SUITE_P(Askers, HttpContract, ::testing::Bool(),
                         [](const auto& given) { return given.param ? "Real" : "Fake"; });

}  // namespace
}  // namespace vantry
