// What everybody who logs on to SQL servers promises, tried on the real one and on the fake that other tests use.
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QHostAddress>
#include <QTcpServer>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/loopback_sql_server.h"
#include "platform/tds_logon.h"
#include "support/fake_sql_logon.h"

namespace vantry {
namespace {

// A server that knows "watcher" with the word "secret", and one that is dead.
struct SqlSubject {
  virtual ~SqlSubject() = default;
  virtual SqlLogon& Get() = 0;
  virtual std::string Server() = 0;
  virtual std::string DeadServer() = 0;
  // Lets what is under way go on for a moment.
  virtual void GoOn() = 0;
};

struct FakeSqlSubject final : SqlSubject {
  FakeSqlLogon sql;
  size_t seen = 0;
  SqlLogon& Get() override { return sql; }
  std::string Server() override { return "db.example"; }
  std::string DeadServer() override { return "dead.example"; }
  void GoOn() override {
    if (seen == sql.tried.size()) return;
    const SqlServerLogin login = sql.tried[seen++];
    if (Contains(login.server, " ")) {
      return sql.Fail("'" + login.server + "': that is not the name of a server", Fail::kBadData);
    }
    if (login.server == DeadServer()) return sql.Fail(DeadServer() + ": no connection: connection refused");
    if (login.password == "secret") return sql.LetIn(login.user);
    sql.Fail(Server() + ": Login failed for user '" + login.user + "'.", Fail::kRefused);
  }
};

struct RealSqlSubject final : SqlSubject {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  LoopbackSqlServer server;
  std::string dead;
  TdsLogon sql{10};
  RealSqlSubject() {
    QTcpServer gone;
    gone.listen(QHostAddress::LocalHost);
    dead = "127.0.0.1:" + std::to_string(gone.serverPort());
  }
  SqlLogon& Get() override { return sql; }
  std::string Server() override { return server.Place(); }
  std::string DeadServer() override { return dead; }
  void GoOn() override { QCoreApplication::processEvents(QEventLoop::AllEvents, 10); }
};

struct SqlLogonContract : ::testing::TestWithParam<bool> {
  struct Outcome {
    Status status;
    std::string login;
  };
  std::unique_ptr<SqlSubject> subject;
  std::vector<Outcome> told;

  SqlLogonContract() {
    if (GetParam()) {
      subject = std::make_unique<RealSqlSubject>();
    } else {
      subject = std::make_unique<FakeSqlSubject>();
    }
  }
  void Start(const std::string& server, const std::string& password) {
    const size_t before = told.size();
    subject->Get().LogOn({server, false, "watcher", password}, [this](const Status& status, const std::string& login) {
      told.push_back({status, login});
    });
    EXPECT_EQ(told.size(), before) << "never from inside the call";
  }
  void TurnUntil(size_t count) {
    for (const QDeadlineTimer limit(30'000); told.size() < count; subject->GoOn()) {
      if (limit.hasExpired()) FAIL() << "waited in vain; " << told.size() << " were told";
    }
  }
  Outcome LogOn(const std::string& server, const std::string& password) {
    const size_t before = told.size();
    Start(server, password);
    TurnUntil(before + 1);
    for (int i = 0; i < 3; ++i) subject->GoOn();
    EXPECT_EQ(told.size(), before + 1) << "told once";
    return told.size() > before ? told.back() : Outcome{};
  }
};

TEST_P(SqlLogonContract, TellsWhoIsLoggedOn) {
  const Outcome outcome = LogOn(subject->Server(), "secret");
  EXPECT_TRUE(outcome.status.ok()) << outcome.status.text;
  EXPECT_EQ(outcome.login, "watcher");
}

TEST_P(SqlLogonContract, AWrongPasswordIsRefused) {
  const Outcome outcome = LogOn(subject->Server(), "wrong");
  EXPECT_EQ(outcome.status.fail, Fail::kRefused);
  EXPECT_EQ(outcome.status.text, subject->Server() + ": Login failed for user 'watcher'.");
  EXPECT_EQ(outcome.login, "");
  EXPECT_TRUE(LogOn(subject->Server(), "secret").status.ok()) << "and nothing of it stays";
}

TEST_P(SqlLogonContract, ADeadServerIsToldWithItsName) {
  const Outcome outcome = LogOn(subject->DeadServer(), "secret");
  EXPECT_EQ(outcome.status.fail, Fail::kIo);
  EXPECT_EQ(outcome.status.text, subject->DeadServer() + ": no connection: connection refused");
  EXPECT_EQ(outcome.login, "");
}

TEST_P(SqlLogonContract, WhatIsNotAServerIsToldLikeAnyFailure) {
  const Outcome outcome = LogOn("my db", "secret");
  EXPECT_EQ(outcome.status.fail, Fail::kBadData);
  EXPECT_EQ(outcome.status.text, "'my db': that is not the name of a server");
}

TEST_P(SqlLogonContract, EachOfTwoAtOnceIsToldOnce) {
  Start(subject->Server(), "secret");
  Start(subject->Server(), "secret");
  TurnUntil(2);
  for (int i = 0; i < 3; ++i) subject->GoOn();
  EXPECT_EQ(told.size(), 2u);
  EXPECT_TRUE(told[0].status.ok() || told[1].status.ok()) << "the first is not disturbed";
}

TEST_P(SqlLogonContract, WhoIsToldMayLogOn) {
  subject->Get().LogOn({subject->Server(), false, "watcher", "wrong"},
                       [this](const Status& status, const std::string&) {
                         EXPECT_EQ(status.fail, Fail::kRefused);
                         Start(subject->Server(), "secret");
                       });
  TurnUntil(1);
  EXPECT_TRUE(told[0].status.ok()) << told[0].status.text;
}

INSTANTIATE_TEST_SUITE_P(Logons, SqlLogonContract, ::testing::Bool(),
                         [](const auto& given) { return given.param ? "Real" : "Fake"; });

}  // namespace
}  // namespace vantry
