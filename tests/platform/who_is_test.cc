// Who-is and RDAP against scripted servers on loopback.
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/net_who_is.h"
#include "platform/rdap_text.h"

namespace vantry {
namespace {

using ::testing::HasSubstr;

// Answers a connection as its test says, once a whole line has come.
class ScriptedRegistry {
 public:
  std::function<void(QTcpSocket& socket, const std::string& line)> answer = [](QTcpSocket& socket, const std::string&) {
    socket.disconnectFromHost();
  };
  std::vector<std::string> lines;
  int closed = 0;

  explicit ScriptedRegistry(const QHostAddress& address = QHostAddress::LocalHost) {
    server_.listen(address);
    QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] {
      QTcpSocket* socket = server_.nextPendingConnection();
      QObject::connect(socket, &QTcpSocket::disconnected, socket, [this, socket] {
        ++closed;
        socket->deleteLater();
      });
      QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
        if (!socket->canReadLine()) return;
        lines.push_back(socket->readLine().toStdString());
        answer(*socket, lines.back());
      });
    });
  }
  bool Listens() const { return server_.isListening(); }
  uint16_t Port() const { return server_.serverPort(); }
  std::string Place() const { return "127.0.0.1:" + std::to_string(Port()); }
  void Says(const std::string& text) {
    answer = [text](QTcpSocket& socket, const std::string&) {
      socket.write(text.data(), static_cast<qint64>(text.size()));
      socket.disconnectFromHost();
    };
  }
  // As a web server.
  void SaysPage(const std::string& head, const std::string& body) {
    Says(head + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
  }
  void Close() { server_.close(); }

 private:
  QTcpServer server_;
};

struct NetWhoIsTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  ScriptedRegistry registry;
  WhoIsLimits limits{.total_ms = 5'000, .connect_ms = 3'000, .bytes = 1 << 20, .allows_local = true};
  std::optional<NetWhoIs> who_is;
  std::optional<WhoIsAnswer> told;

  WhoIsDone Told() {
    return [this](const WhoIsAnswer& answer) { told = answer; };
  }
  void Wait() {
    const QDeadlineTimer limit(30'000);
    while (!told && !limit.hasExpired()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    ASSERT_TRUE(told);
  }
  WhoIsAnswer Ask(const std::string& server, const std::string& text, bool is_referral = false) {
    if (!who_is) who_is.emplace(limits);
    told.reset();
    who_is->Ask({server, text, is_referral}, Told());
    EXPECT_FALSE(told) << "never from inside the call";
    Wait();
    return *told;
  }
  WhoIsAnswer AskRdap(const std::string& url) {
    if (!who_is) who_is.emplace(limits);
    told.reset();
    who_is->AskRdap(url, Told());
    Wait();
    return *told;
  }
  std::string Url(const std::string& page) const { return "http://" + registry.Place() + page; }
};

TEST_F(NetWhoIsTest, AQuestionIsOneLine) {
  registry.Says("inetnum: 192.0.2.0\r\n");
  const WhoIsAnswer answer = Ask(registry.Place(), "192.0.2.7");
  EXPECT_TRUE(answer.status.ok()) << answer.status.text;
  EXPECT_EQ(answer.text, "inetnum: 192.0.2.0\r\n");
  EXPECT_FALSE(answer.is_cut);
  EXPECT_EQ(registry.lines, std::vector<std::string>{"192.0.2.7\r\n"});
}

TEST_F(NetWhoIsTest, OverIpv6) {
  ScriptedRegistry six(QHostAddress::LocalHostIPv6);
  if (!six.Listens()) GTEST_SKIP() << "this machine has no IPv6";
  six.Says("six");
  EXPECT_EQ(Ask("[::1]:" + std::to_string(six.Port()), "2001:db8::7").text, "six");
}

TEST_F(NetWhoIsTest, BytesComeAsTheyAre) {
  const std::string bytes(
      "Stra\xDF"
      "e\x1B[31m\0\x07\r\n",
      14);
  registry.Says(bytes);
  EXPECT_EQ(Ask(registry.Place(), "a.example").text, bytes);
}

TEST_F(NetWhoIsTest, ASlowServerHasItsTime) {
  registry.answer = [](QTcpSocket& socket, const std::string&) {
    socket.write("country: ");
    QTimer::singleShot(300, &socket, [&socket] {
      socket.write("NL\n");
      socket.disconnectFromHost();
    });
  };
  EXPECT_EQ(Ask(registry.Place(), "a.example").text, "country: NL\n");
}

TEST_F(NetWhoIsTest, AServerThatSaysNothingIsGivenUp) {
  limits.total_ms = 300;
  registry.answer = [](QTcpSocket&, const std::string&) {};
  const WhoIsAnswer answer = Ask(registry.Place(), "a.example");
  EXPECT_EQ(answer.status.fail, Fail::kIo);
  EXPECT_THAT(answer.status.text, HasSubstr("no answer in time"));
}

TEST_F(NetWhoIsTest, WhatCameInTimeIsKept) {
  limits.total_ms = 1'000;
  registry.answer = [](QTcpSocket& socket, const std::string&) { socket.write("country: NL\n"); };
  const WhoIsAnswer answer = Ask(registry.Place(), "a.example");
  EXPECT_TRUE(answer.status.ok());
  EXPECT_EQ(answer.text, "country: NL\n");
  EXPECT_TRUE(answer.is_cut);
}

TEST_F(NetWhoIsTest, AMegabyteIsTakenAndNoMore) {
  registry.Says(std::string((1 << 20) - 1, 'x'));
  WhoIsAnswer answer = Ask(registry.Place(), "a.example");
  EXPECT_EQ(answer.text.size(), (size_t{1} << 20) - 1);
  EXPECT_FALSE(answer.is_cut);
  registry.Says(std::string(3 << 20, 'x'));
  answer = Ask(registry.Place(), "a.example");
  EXPECT_EQ(answer.text.size(), size_t{1} << 20);
  EXPECT_TRUE(answer.is_cut);
  EXPECT_TRUE(answer.status.ok());
}

TEST_F(NetWhoIsTest, AnAnswerWithoutEndIsCut) {
  limits.bytes = 64 << 10;
  registry.answer = [](QTcpSocket& socket, const std::string&) {
    const auto more = [&socket] { socket.write(std::string(8'192, 'x').c_str(), 8'192); };
    QObject::connect(&socket, &QTcpSocket::bytesWritten, &socket, more);
    more();
  };
  const WhoIsAnswer answer = Ask(registry.Place(), "a.example");
  EXPECT_TRUE(answer.is_cut);
  EXPECT_EQ(answer.text.size(), limits.bytes);
}

TEST_F(NetWhoIsTest, ARefusedConnectionIsTold) {
  const std::string place = registry.Place();
  registry.Close();
  const WhoIsAnswer answer = Ask(place, "a.example");
  EXPECT_EQ(answer.status.fail, Fail::kIo);
  EXPECT_EQ(answer.status.text, place + ": Connection refused");
}

TEST_F(NetWhoIsTest, AnEmptyAnswerIsOne) {
  const WhoIsAnswer answer = Ask(registry.Place(), "a.example");
  EXPECT_TRUE(answer.status.ok());
  EXPECT_EQ(answer.text, "");
}

TEST_F(NetWhoIsTest, AServerThatDoesNotResolve) {
  const WhoIsAnswer answer = Ask("no-such-host.invalid", "a.example");
  EXPECT_EQ(answer.status.fail, Fail::kIo);
  EXPECT_THAT(answer.status.text, HasSubstr("no-such-host.invalid: "));
}

TEST_F(NetWhoIsTest, NothingOddIsSentOrConnectedTo) {
  for (const char* text : {"", "-h", "a\r\nb", "a\nb", "\x01",
                           "stra\xC3\x9F"
                           "e.example"}) {
    EXPECT_EQ(Ask(registry.Place(), text).status.fail, Fail::kBadData) << text;
  }
  for (const char* server : {"", "-x.example", "a b", "a.example:x", "a.example:0", "[::1", "[::1]x", "$(x)"}) {
    EXPECT_EQ(Ask(server, "a.example").status.fail, Fail::kBadData) << server;
  }
  EXPECT_TRUE(registry.lines.empty());
}

TEST_F(NetWhoIsTest, AReferralDoesNotLeadIntoThisNetwork) {
  limits.allows_local = false;
  for (const std::string& server :
       {registry.Place(), std::string("localhost"), std::string("10.0.0.1"), std::string("[::1]:43"),
        std::string("169.254.169.254"), std::string("[::ffff:127.0.0.1]:43"), std::string("[fe80::1]")}) {
    const WhoIsAnswer answer = Ask(server, "a.example", true);
    EXPECT_EQ(answer.status.fail, Fail::kRefused) << server;
  }
  EXPECT_TRUE(registry.lines.empty());
  registry.Says("own");
  EXPECT_EQ(Ask(registry.Place(), "a.example").text, "own") << "the operator may name any server";
}

TEST_F(NetWhoIsTest, CanBeStopped) {
  registry.answer = [](QTcpSocket&, const std::string&) {};
  who_is.emplace(limits);
  const int64_t number = who_is->Ask({registry.Place(), "a.example"}, Told());
  const QDeadlineTimer limit(20'000);
  while (registry.lines.empty() && !limit.hasExpired()) QCoreApplication::processEvents();
  who_is->Stop(number);
  while (registry.closed == 0 && !limit.hasExpired()) QCoreApplication::processEvents();
  EXPECT_EQ(registry.closed, 1) << "the connection ends at once";
  EXPECT_FALSE(told);
}

TEST_F(NetWhoIsTest, AnAnswerByRdapIsText) {
  registry.SaysPage("HTTP/1.1 200 OK", R"({"ldhName":"EXAMPLE.COM","entities":[{"roles":["registrar"],)"
                                       R"("vcardArray":["vcard",[["fn",{},"text","Example\r\nRegistrar"]]]}]})");
  const WhoIsAnswer answer = AskRdap(Url("/domain/example.com"));
  EXPECT_TRUE(answer.status.ok()) << answer.status.text;
  EXPECT_THAT(answer.text, HasSubstr("Domain Name: EXAMPLE.COM\nRegistrar: Example  Registrar\n"));
  EXPECT_THAT(registry.lines[0], HasSubstr("GET /domain/example.com HTTP/1.1"));
}

TEST_F(NetWhoIsTest, RdapIsFollowedToWhereItIs) {
  ScriptedRegistry other;
  other.SaysPage("HTTP/1.1 200 OK", R"({"name":"EX"})");
  registry.SaysPage("HTTP/1.1 302 Found\r\nLocation: http://" + other.Place() + "/ip/10.0.0.7", "");
  EXPECT_THAT(AskRdap(Url("/ip/10.0.0.7")).text, HasSubstr("NetName: EX\n"));
}

TEST_F(NetWhoIsTest, RdapDoesNotLeadIntoThisNetworkNorRoundAndRound) {
  ScriptedRegistry other;
  registry.SaysPage("HTTP/1.1 302 Found\r\nLocation: " + Url("/ip/10.0.0.7"), "");
  EXPECT_THAT(AskRdap(Url("/ip/10.0.0.7")).status.text, HasSubstr("without end"));
  limits.allows_local = false;
  who_is.reset();
  registry.SaysPage("HTTP/1.1 302 Found\r\nLocation: https://" + other.Place() + "/", "");
  EXPECT_EQ(AskRdap(Url("/ip/10.0.0.7")).status.fail, Fail::kRefused);
  registry.SaysPage("HTTP/1.1 302 Found\r\nLocation: http://" + other.Place() + "/", "");
  EXPECT_FALSE(AskRdap(Url("/ip/10.0.0.7")).status.ok()) << "not without encryption";
  registry.SaysPage("HTTP/1.1 302 Found\r\nLocation: file:///etc/passwd", "");
  EXPECT_FALSE(AskRdap(Url("/ip/10.0.0.7")).status.ok());
  EXPECT_TRUE(other.lines.empty());
}

TEST_F(NetWhoIsTest, WhatRdapDoesNotKnow) {
  registry.SaysPage("HTTP/1.1 404 Not Found", "{}");
  EXPECT_EQ(AskRdap(Url("/x")).status.fail, Fail::kNotFound);
  registry.SaysPage("HTTP/1.1 429 Too Many Requests", "");
  EXPECT_THAT(AskRdap(Url("/x")).status.text, HasSubstr("429"));
  registry.SaysPage("HTTP/1.1 200 OK", "<html>");
  EXPECT_EQ(AskRdap(Url("/x")).status.fail, Fail::kBadData);
  registry.SaysPage("HTTP/1.1 200 OK", std::string(2 << 20, '['));
  EXPECT_THAT(AskRdap(Url("/x")).status.text, HasSubstr("too long"));
  const std::string gone = Url("/x");
  registry.Close();
  EXPECT_EQ(AskRdap(gone).status.fail, Fail::kIo);
}

struct RdapCase {
  const char *name, *json, *text;
};

constexpr RdapCase kRdapCases[] = {
    {"a network",
     R"({"startAddress":"192.0.2.0","endAddress":"192.0.2.255","name":"EX","country":"NL","entities":[
        {"roles":["registrant"],"vcardArray":["vcard",[["fn",{},"text","Example"],["org",{},"text","Example B.V."]]],
         "entities":[{"roles":["technical","abuse"],"vcardArray":["vcard",[["email",{},"text","abuse@e.example"]]]}]}]})",
     "NetRange: 192.0.2.0 - 192.0.2.255\nNetName: EX\nOrganization: Example B.V.\nCountry: NL\n"
     "Abuse contact: abuse@e.example\n\n"},
    {"things of other kinds", R"({"name":5,"entities":"x","country":["NL"],"startAddress":{}})", "\n"},
    {"cards of other kinds", R"({"entities":[{"roles":["abuse"],"vcardArray":["vcard",[[],["email"],5]]},7,[]]})",
     "\n"},
};

TEST(ReadRdap, PutsWhatPeopleLookForFirst) {
  for (const RdapCase& c : kRdapCases) {
    std::string text;
    ASSERT_TRUE(ReadRdap(c.json, text).ok()) << c.name;
    EXPECT_EQ(text.substr(0, text.find('{')), c.text) << c.name;
  }
}

TEST(ReadRdap, WhatIsNotAnAnswer) {
  std::string text;
  for (const char* json : {"", "[]", "{}", "null", "{\"a\":", "\xff"}) EXPECT_FALSE(ReadRdap(json, text).ok()) << json;
  std::string deep = R"({"a":)";
  for (int n = 0; n < 5'000; ++n) deep += "[";
  EXPECT_FALSE(ReadRdap(deep, text).ok());
}

}  // namespace
}  // namespace vantry
