#include "web/web_server.h"

#include <gtest/gtest.h>

#include "support/web_rig.h"

namespace vantry {
namespace {

TEST_F(WebTest, AReportIsMadeForTheSiteThatAControlLineNames) {
  Connect(1);
  Send(1, "@report My Shop\r\n@REPORT no\tshop\r\n@REPORT\r\n@REPORTS\r\n@REPORT \r\n");
  EXPECT_EQ(listener.peers[1].sent,
            "OK /home/My Shop Daily Report.htm\r\nERROR There is no site 'no%09shop'\r\n"
            "ERROR There is no site ''\r\n");
  EXPECT_EQ(control.calls, (std::vector<std::string>{"report My Shop", "report no\tshop", "report "}));
}

TEST_F(WebTest, AChangeIsTakenByItsTokenAndAnsweredOnOneLine) {
  Connect(1);
  Send(1, "@edit 0aB\r\n@EDIT\r\n@EDITS x\r\n");
  EXPECT_EQ(listener.peers[1].sent, "OK Changed the%0D%0Asite.\r\n");
  EXPECT_EQ(control.calls, std::vector<std::string>{"edit 0aB"});
}

TEST_F(WebTest, ListGivesVisitorsOfOneDomainOrAll) {
  AddSite("www.one.example");
  AddSite("www.two.example");
  AddVisitor(2, "10.0.0.2");
  AddVisitor(1, "10.0.0.1");
  const std::string two = "www.two.example" + kLine.substr(15);
  EXPECT_EQ(Get("/?LIST&"), kLine + two + "\r\n") << "sites in table order";
  EXPECT_EQ(Get("/any/path?list&d=WWW.Two.example"), two + "\r\n");
  EXPECT_EQ(Get("/?LIST"), "The Domain: LIST is not being monitored by Vantry.\r\n");
  EXPECT_EQ(Get("/?LIST&domain=my_site"), "The Domain: my site is not being monitored by Vantry.\r\n");
  EXPECT_FALSE(listener.IsOpen(1));
}

TEST_F(WebTest, LongListGoesOutInPieces) {
  AddSite("www.one.example");
  for (int i = 0; i < 20'000; ++i) AddVisitor(1, std::to_string(i));
  std::string expected;
  for (int i = 0; i < 20'000; ++i) expected += kLine;
  listener.keep_pieces = true;
  EXPECT_EQ(Get("/?LIST&"), "");
  EXPECT_FALSE(listener.IsOpen(1)) << "its number is free for the next request";
  listener.keep_pieces = false;
  EXPECT_EQ(Get("/?SITES").substr(0, 6), "<HTML>");
  std::string sent;
  int pieces = 0;
  for (bool more = true; more; ++pieces) more = listener.kept(sent);
  EXPECT_EQ(sent, "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n" + expected + "\r\n");
  EXPECT_GT(pieces, 5);
}

TEST_F(WebTest, CommandsChooseTheirPages) {
  AddSite("www.one.example").WebAccess = true;
  const std::pair<const char*, const char*> cases[] = {
      {"/", "Sites Being Monitored On This Server"},
      {"/?", "Sites Being Monitored On This Server"},
      {"/?/", "Sites Being Monitored On This Server"},
      {"/any/path?sites", "Sites Being Monitored On This Server"},
      {"/?nonsense&a=b", "Sites Being Monitored On This Server"},
      {"/?SITE&x=www.one.example", "0 Active Visitors."},
      {"/?TABLE&x=www.one.example", "0 Active Visitors."},
      {"/?SITETABLE&site=www.one.example", "0 Active Visitors."},
      {"/?SITETABLE&site=ALL", "0 Total Active Visitors"},
      {"/?VISITOR&domain=www.one.example:10.0.0.1!1", "[Visitor Information]"},
      {"/?PREVIOUS&domain=www.one.example:10.0.0.1", "0 Previous Visits"},
      {"/?ALERTS&site=www.one.example", "0 Alerts Raised Today."},
      {"/?ALERTSTABLE&site=www.one.example&alertno=3", "0 Alerts Raised Today."},
      {"/?SPIDERS&site=www.one.example", "0 Spiders Spotted Today"},
      {"/?EXCEPT&site=www.one.example", "0 Exceptions Raised Today"},
      {"/?REFER&domain=www.one.example", "0 Referring Sites"},
      {"/?EXCEPT&site=other.example", "is not being monitored by Vantry."},
  };
  for (const auto& [query, text] : cases) EXPECT_TRUE(Contains(Get(query), text)) << query;
}

TEST_F(WebTest, EscapedListCanFormNoTag) {
  WebSecurity security;
  security.escape_html = true;
  Restart(security);
  AddSite("www.one.example");
  AddVisitor(1, "10.0.0.1").Browser = "<script>";
  EXPECT_TRUE(Contains(Get("/?LIST&"), "&lt;script>"));
}

TEST_F(WebTest, WapClientsGetNoStatusLine) {
  const std::string answer = Request("GET /?LIST& HTTP/1.0\r\nAccept: text/vnd.wap.wml\r\n\r\n");
  EXPECT_TRUE(StartsWith(
      answer, "Content-Type: text/vnd.wap.wml\r\nCache-Control: no-cache\r\n<?xml version=\"1.0\"?>\r<!DOCTYPE wml"));
  EXPECT_TRUE(StartsWith(Get("/?LIST&"), "Content-Type: text/vnd.wap.wml")) << "the slot remembers";
  EXPECT_TRUE(Contains(Get("/?SITES"), "<wml>\r\n"));
  const std::string visitors = Get("/?SITETABLE&site=ALL");
  EXPECT_TRUE(StartsWith(visitors, "Content-Type: text/vnd.wap.wml") && Contains(visitors, "<HTML>\r\n"))
      << "only the list of sites has a form for phones";
}

TEST_F(WebTest, ControlLinesAnswerInAnyState) {
  Connect(1);
  Send(1, "@hello\r\nGET /?LIST& HTTP/1.0\r\n@HELLO\r\n@STOP\r\n@NOPE\r\n@HELLO x\r\n");
  EXPECT_EQ(listener.peers[1].sent, "Vantry 2.0.000 [Running]\r\nVantry 2.0.000 [Running]\r\n");
  EXPECT_TRUE(listener.IsOpen(1));
  EXPECT_TRUE(control.calls.empty());
  Send(1, "@SHOW\r\n@HIDE\r\n@@STOP\r\n");
  EXPECT_EQ(control.calls, (std::vector<std::string>{"show", "hide", "stop"}));
  EXPECT_TRUE(Contains(listener.peers[1].sent, "OK\r\nOK\r\nXXX\r\n"));
}

TEST_F(WebTest, WhoSteersIsAConsoleUntilItAsksForAPage) {
  WebSecurity security;
  security.control_from = {"127.0.0.*"};
  Restart(security);
  const auto claim = [this](int n) { return listener.events.claim(n); };
  Connect(1, "127.0.0.9");
  EXPECT_EQ(claim(1), Claim::kNone);
  Send(1, "@NOPE\r\n");
  EXPECT_EQ(claim(1), Claim::kNone);
  Send(1, "@HELLO\r\n");
  EXPECT_EQ(claim(1), Claim::kConsole);
  Send(1, "GET /?LIST& HTTP/1.0\r\n");
  EXPECT_EQ(claim(1), Claim::kNone);
  Connect(1, "127.0.0.9");
  EXPECT_EQ(claim(1), Claim::kNone) << "another connection";
  Connect(2);
  Send(2, "@HELLO\r\n");
  EXPECT_EQ(claim(2), Claim::kNone) << "not from there";
}

TEST_F(WebTest, PauseMarksTwiceAndIgnoresHttp) {
  Connect(1);
  Send(1, "@PAUSE\r\n@HELLO\r\n");
  EXPECT_EQ(listener.peers[1].sent, "Vantry 2.0.000 [Paused]\r\nVantry 2.0.000 [Paused] [Paused]\r\n");
  EXPECT_EQ(Get("/?LIST&", 2), "");
  EXPECT_TRUE(listener.IsOpen(2));
  Send(1, "@CONTINUE\r\n");
  EXPECT_TRUE(Contains(listener.peers[1].sent, "Vantry 2.0.000 [Running]\r\n"));
}

TEST_F(WebTest, StatusIsARecordForEachSite) {
  Connect(1);
  Send(1, "@STATUS\r\n");
  EXPECT_EQ(listener.peers[1].sent, "rST\x1b\r\n");
  SiteRec& site = AddSite("x");
  site.CurrentVisitors = 3;
  site.TodayAlerts = 1;
  site.TodaySpiders = 2;
  site.TodayExceptions = 4;
  site.LastReadDateTime = MakeLogTime(*MakeDay(2026, 3, 5), 13 * 3600);
  AddSite("y").Paused = true;
  listener.peers[1].sent.clear();
  Send(1, "@STATUS\r\n");
  EXPECT_EQ(listener.peers[1].sent,
            "rST\x1bName of x\x1b"
            "3\x1b"
            "1\x1b"
            "2\x1b"
            "4\x1b"
            "3/5/2026 13:00:00\x1b\n"
            "Name of y (Paused) \x1b"
            "0\x1b"
            "0\x1b"
            "0\x1b"
            "0\x1b"
            "12/30/1899 00:00:00\x1b\n\r\n");
}

TEST_F(WebTest, ControlLinesCanBeHeldToAddresses) {
  WebSecurity security;
  security.bind_address = "127.0.0.1";
  security.control_from = {"127.0.0.*"};
  Restart(security);
  EXPECT_EQ(listener.address, "127.0.0.1");
  EXPECT_EQ(listener.port, 8004);
  Connect(1, "10.0.0.1");
  Send(1, "@@STOP\r\n@HELLO\r\n");
  EXPECT_EQ(listener.peers[1].sent, "");
  EXPECT_TRUE(control.calls.empty());
  Connect(2, "127.0.0.9");
  Send(2, "@HELLO\r\n");
  EXPECT_EQ(listener.peers[2].sent, "Vantry 2.0.000 [Running]\r\n");
}

TEST_F(WebTest, AccessLogTakesTheRawQueryAndTheName) {
  Get("/?LIST&domain=a_b");
  EXPECT_EQ(files.Get("/data/webaccess.log"), "3/5/2026 12:00:00 PM 10.0.0.1 4711 LIST&domain=a_b \r\n");
  settings.WebAccessLog = false;
  const std::string before = files.Get("/data/webaccess.log");
  Get("/?LIST&");
  EXPECT_EQ(files.Get("/data/webaccess.log"), before);
  settings.WebAccessLog = true;
  files.fails = [](const std::string&) { return true; };
  EXPECT_EQ(Get("/?LIST&"), "\r\n") << "a full disk does not stop a page";
}

TEST_F(WebTest, NobodyForgesALineOfTheAccessLog) {
  Get("/?LIST&a\n3/5/2026\t10.9.9.9\rb\x1b\x7f\xc3\xa9");
  settings.WebAccessControl = true;
  settings.WebUsername = "a\nb";
  settings.WebPassword = "c";
  Login("a\nb", "c");
  EXPECT_EQ(files.Get("/data/webaccess.log"),
            "3/5/2026 12:00:00 PM 10.0.0.1 4711 LIST&a%0A3/5/2026%0910.9.9.9%0Db%1B%7F\xc3\xa9 \r\n"
            "3/5/2026 12:00:00 PM 10.0.0.1 4711  A%0AB\r\n");
}

TEST_F(WebTest, BodyWithoutLineEndCountsWhenItsSizeCameOrSilenceFalls) {
  settings.WebAccessControl = true;
  settings.WebUsername = "a";
  settings.WebPassword = "b";
  Connect(1);
  Send(1, "POST / HTTP/1.0\r\nContent-Length: 31\r\n\r\nUserName=a&");
  clock.steady.ms += WebServer::kQuietMs;
  loop.Tick(WebServer::kQuietMs / 2);
  EXPECT_EQ(listener.peers[1].sent, "") << "its size is known";
  Send(1, "Password=b&B1=Submit");
  EXPECT_TRUE(Contains(listener.peers[1].sent, "200 OK"));
  Connect(2);
  Send(2, "POST / HTTP/1.0\r\n\r\nUserName=a&Password=b&B1=Submit");
  EXPECT_EQ(listener.peers[2].sent, "");
  clock.steady.ms += WebServer::kQuietMs;
  loop.Tick(WebServer::kQuietMs / 2);
  EXPECT_TRUE(Contains(listener.peers[2].sent, "200 OK"));
  EXPECT_FALSE(loop.timers[0]->enabled);
}

TEST_F(WebTest, BodyThatStaysShorterThanAnnouncedIsTakenInTheEnd) {
  Connect(1);
  Send(1, "POST / HTTP/1.0\r\nContent-Length: 5000\r\n\r\nUserName=a&");
  clock.steady.ms += WebServer::kQuietInsideBodyMs;
  loop.Tick(WebServer::kQuietMs / 2);
  EXPECT_TRUE(Contains(listener.peers[1].sent, "200 OK"));
}

TEST_F(WebTest, TextOfAPeerThatStoppedSendingIsTaken) {
  Connect(1);
  Send(1, "@HELLO");
  EXPECT_EQ(listener.peers[1].sent, "");
  listener.events.peer_done(1);
  EXPECT_EQ(listener.peers[1].sent, "Vantry 2.0.000 [Running]\r\n");
}

TEST_F(WebTest, SecondRequestOfAConnectionIsNotAnswered) {
  Connect(1);
  Send(1, "GET /?LIST& HTTP/1.0\r\n\r\nGET /?LIST& HTTP/1.0\r\n\r\n");
  EXPECT_EQ(listener.peers[1].sent, "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n\r\n");
}

TEST_F(WebTest, ClosingReachesEveryOpenConnection) {
  Connect(1);
  Connect(3);
  web->CloseConnections();
  EXPECT_FALSE(listener.IsOpen(1));
  EXPECT_FALSE(listener.IsOpen(3));
}

TEST_F(WebTest, PortThatIsNoPortIsRefused) {
  settings.WebAccessPort = 70000;
  EXPECT_EQ(web->StartWebListener().text, "WebAccessPort 70000 is no port number");
}

TEST_F(WebTest, InterfaceCountsWhileItLives) {
  EXPECT_EQ(t.InterfaceCount, 0);
  Get("/?LIST&");
  Get("/?LIST&");
  EXPECT_EQ(t.InterfaceCount, 1);
  web.reset();
  EXPECT_EQ(t.InterfaceCount, 0);
}

}  // namespace
}  // namespace vantry
