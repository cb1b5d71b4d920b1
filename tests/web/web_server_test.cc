#include "web/web_server.h"

#include <gtest/gtest.h>

#include "support/database_rig.h"
#include "support/fakes.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

struct FakeListener final : Listener {
  struct Peer {
    std::string host = "10.0.0.1", sent;
    bool open = true;
  };
  ListenerEvents events;
  std::map<int, Peer> peers;
  std::string address;
  uint16_t port = 0;
  Status answer;
  Status Listen(const std::string& a, uint16_t p, ListenerEvents e) override {
    address = a;
    port = p;
    events = std::move(e);
    return answer;
  }
  void Send(int n, std::string_view bytes) override { peers[n].sent += bytes; }
  bool keep_pieces = false;
  PieceSource kept;
  void SendPieces(int n, PieceSource next) override {
    if (keep_pieces) {
      kept = std::move(next);
      return;
    }
    while (next(peers[n].sent)) {
    }
  }
  void Close(int n, bool) override {
    if (!peers[n].open) return;
    peers[n].open = false;
    events.disconnected(n);
  }
  bool IsOpen(int n) const override { return peers.contains(n) && peers.at(n).open; }
  std::string RemoteHost(int n) const override { return peers.at(n).host; }
  int RemotePort(int) const override { return 4711; }
  void Shutdown() override {}
};

struct FakeControl final : RemoteControl {
  std::vector<std::string> calls;
  bool monitoring = true;
  std::string Caption() const override { return monitoring ? "Vantry 2.0.000" : "Vantry 2.0.000 [Paused]"; }
  bool Monitoring() const override { return monitoring; }
  void Pause() override { monitoring = false; }
  void Continue() override { monitoring = true; }
  void Stop() override { calls.emplace_back("stop"); }
  void ShowWindow() override { calls.emplace_back("show"); }
  void HideWindow() override { calls.emplace_back("hide"); }
};

struct FakeMailer final : LoginMailer {
  std::vector<std::string> mails;
  bool slow = false;  // A mail is out when the test says so.
  std::function<void()> done;
  void SendLoginMail(const std::string& to, const std::string& text, std::function<void()> when_done) override {
    mails.push_back(to + "|" + text);
    if (!slow) return when_done();
    done = std::move(when_done);
  }
};

struct WebTest : ::testing::Test {
  LiveTables t;
  Settings settings;
  Regional regional;
  FakeClock clock;
  MemoryFiles files;
  FakeLoop loop;
  FakeListener listener;
  FakeControl control;
  FakeMailer mailer;
  std::string program_log;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [this](std::string_view b) { program_log += b; }, [] {},
                  [](std::string_view) {}, [](std::string_view, EventLevel) {}}};
  RegistryFile registry{files, "/registry.ini"};
  MemoryDataFiles disk;
  MemoryIndex index{disk};
  RaisedExceptions exceptions;
  VisitDatabase history{{t, settings.DDFPath, log, clock, registry, exceptions, disk, index}};
  std::unique_ptr<WebServer> web;

  WebTest() {
    settings.DDFPath = "/data/";
    Restart({});
  }
  void Restart(WebSecurity security) {
    web = std::make_unique<WebServer>(WebContext{t, settings, regional, log, clock, files, loop, listener, control,
                                                 mailer, history, "/app/", "2.0.000"},
                                      std::move(security));
    EXPECT_TRUE(web->StartWebListener().ok());
  }
  void Connect(int n, const std::string& host = "10.0.0.1") {
    listener.peers[n] = {host, "", true};
    listener.events.connected(n);
  }
  void Send(int n, std::string_view bytes) { listener.events.data(n, bytes); }
  // One request on a new connection in this slot; the answer without its head.
  std::string Get(const std::string& url, int n = 1, const std::string& host = "10.0.0.1") {
    return Request("GET " + url + " HTTP/1.0\r\n\r\n", n, host);
  }
  std::string Request(const std::string& bytes, int n = 1, const std::string& host = "10.0.0.1") {
    Connect(n, host);
    Send(n, bytes);
    const std::string head = "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n";
    const std::string& sent = listener.peers[n].sent;
    return StartsWith(sent, head) ? sent.substr(head.size()) : sent;
  }
  std::string Login(const std::string& user, const std::string& password, int n = 1) {
    const std::string body = "UserName=" + user + "&Password=" + password + "&B1=Submit";
    return Request("POST / HTTP/1.0\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body, n);
  }
  SiteRec& AddSite(const std::string& domain) {
    SiteRec& site = t.Sites.emplace_back();
    site.Name = "Name of " + domain;
    site.Domain = domain;
    return site;
  }
  VisitorRec& AddVisitor(int16_t site, const std::string& ip) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, ip));
    v.VisitNo = 7;
    v.DNS = "host.example";
    v.Page = "a.htm";
    v.StartTime = v.LastHitTime = MakeLogTime(Day{}, 3661);
    v.Browser = "IE6";
    v.Referrer = "http://out.example/";
    return v;
  }
  const std::string kLine = "www.one.example\t7\thost.example\ta.htm\t01:01:01\t01:01:01\tIE6\thttp://out.example/\t\n";
};

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

TEST_F(WebTest, LoginLivesFromPageToPageInItsSlot) {
  settings.WebAccessControl = true;
  settings.WebUsername = " Admin ";
  settings.WebPassword = "Secret";
  AddSite("www.one.example");
  EXPECT_TRUE(Contains(Get("/"), "Please Enter Your User Name and Password"));
  EXPECT_TRUE(Contains(Get("/?LIST&"), "Please Enter")) << "whatever was asked for";
  EXPECT_FALSE(Contains(Login("admin", "SECRET"), "Please Enter"));
  EXPECT_EQ(Get("/?LIST&"), "\r\n");
  EXPECT_TRUE(Contains(Get("/?LIST&", 2), "Please Enter")) << "another slot";
  clock.Advance(5 * 60);
  EXPECT_EQ(Get("/?LIST&"), "\r\n");
  clock.Advance(6 * 60);
  EXPECT_TRUE(Contains(Get("/?LIST&"), "Please Enter"));
}

TEST_F(WebTest, LoginIsBoundToItsAddress) {
  settings.WebAccessControl = true;
  settings.WebUsername = "a";
  settings.WebPassword = "b";
  Login("a", "b");
  EXPECT_TRUE(Contains(Get("/?LIST&", 1, "10.0.0.2"), "Please Enter"));
  EXPECT_TRUE(Contains(Get("/?LIST&", 1, "10.0.0.1"), "Please Enter"));
}

TEST_F(WebTest, WrongLoginIsForgottenAndNotLogged) {
  settings.WebAccessControl = true;
  settings.WebUsername = "admin";
  settings.WebPassword = "secret";
  EXPECT_TRUE(Contains(Login("admin", "wrong"), "Invalid user name or password. Click Back and try again."));
  EXPECT_FALSE(web->Pages().clients[1].CredentialsGiven);
  EXPECT_EQ(files.Get("/data/webaccess.log"), "<none>");
}

TEST_F(WebTest, PasswordAtTheEndOfABodyLosesACharacterAndFails) {
  settings.WebAccessControl = true;
  settings.WebUsername = "admin";
  settings.WebPassword = "secret";
  const std::string body = "UserName=admin&Password=secret";
  EXPECT_TRUE(Contains(Request("POST / HTTP/1.0\r\nContent-Length: 30\r\n\r\n" + body), "Invalid user name"));
}

TEST_F(WebTest, SiteUserLogsInAndASlotKeepsAllSites) {
  settings.WebAccessControl = true;
  settings.WebUsername = "admin";
  settings.WebPassword = "secret";
  AddSite("x").WebUserName = "Bob";
  t.Sites[0].WebPassword = "pw";
  Login("bob", "PW");
  EXPECT_FALSE(web->Pages().clients[1].AllSites);
  Login("admin", "secret");
  EXPECT_TRUE(web->Pages().clients[1].AllSites);
  Login("bob", "pw");
  EXPECT_TRUE(web->Pages().clients[1].AllSites) << "never taken back";
  EXPECT_EQ(web->Pages().clients[1].Path, "");
}

TEST_F(WebTest, SiteIsOpenedByItsOwnNameAndPasswordTogether) {
  settings.WebAccessControl = true;
  settings.WebUsername = "admin";
  settings.WebPassword = "secret";
  AddSite("x").WebUserName = "Bob";
  t.Sites[0].WebPassword = "pw";
  AddSite("y").WebUserName = "Eve";
  t.Sites[1].WebPassword = "pw2";
  AddSite("z").WebPassword = "pw3";  // Without a name nobody logs in there.
  const std::pair<const char*, const char*> wrong[] = {{"nobody", "pw"},  {"eve", "pw"}, {"bob", "pw2"},
                                                       {"bob", ""},       {"", "pw"},    {"admin", "pw"},
                                                       {"bob", "secret"}, {"", "pw3"},   {"bobby", "pw"}};
  for (const auto& [user, password] : wrong) {
    EXPECT_TRUE(Contains(Login(user, password), "Invalid user name or password")) << user << "/" << password;
    EXPECT_FALSE(web->Pages().clients[1].LoggedIn);
  }
  for (const auto& [user, password] : {std::pair{"bob", "pw"}, {"EVE", "PW2"}}) {
    EXPECT_FALSE(Contains(Login(user, password), "Invalid")) << user;
  }
}

TEST_F(WebTest, EveryPageOfALoggedInUserIsMailed) {
  settings.WebAccessControl = settings.WebAccessEmail = true;
  settings.WebUsername = "admin";
  settings.WebPassword = "secret";
  Login("admin", "secret");
  EXPECT_TRUE(mailer.mails.empty()) << "no recipient";
  settings.EmailSendTo = "op@example";
  Get("/?LIST&");
  Get("/?LIST&");
  ASSERT_EQ(mailer.mails.size(), 2u);
  EXPECT_EQ(mailer.mails[0], "op@example|Vantry Web Access User Login:\r\n3/5/2026 12:00:00 PM 10.0.0.1 4711 ADMIN");
}

TEST_F(WebTest, ALoginWaitsForItsMailAndNobodyElseDoes) {
  settings.WebAccessControl = settings.WebAccessEmail = true;
  settings.WebUsername = "admin";
  settings.WebPassword = "secret";
  settings.EmailSendTo = "op@example";
  mailer.slow = true;
  EXPECT_EQ(Login("admin", "secret"), "");
  Send(1, "GET /?LIST&more HTTP/1.0\r\n\r\n");
  EXPECT_EQ(listener.events.claim(1), Claim::kAnswering);
  listener.events.peer_done(1);
  EXPECT_EQ(listener.peers[1].sent, "") << "the first request is answered first";
  EXPECT_NE(Get("/", 2, "10.0.0.2"), "");
  mailer.done();
  EXPECT_TRUE(StartsWith(listener.peers[1].sent, "HTTP/1.0 200"));
  EXPECT_FALSE(Contains(listener.peers[1].sent.substr(1), "HTTP/1.0 200")) << "once";
  EXPECT_FALSE(listener.IsOpen(1));
}

TEST_F(WebTest, AClientThatLeavesWhileItsLoginIsMailedGetsNothing) {
  settings.WebAccessControl = settings.WebAccessEmail = true;
  settings.WebUsername = "admin";
  settings.WebPassword = "secret";
  settings.EmailSendTo = "op@example";
  mailer.slow = true;
  EXPECT_EQ(Login("admin", "secret"), "");
  listener.Close(1, true);
  mailer.done();
  EXPECT_EQ(listener.peers[1].sent, "");
  // Another comes under its number.
  EXPECT_EQ(Get("/?LIST&"), "");
  listener.Close(1, true);
  Connect(1, "10.0.0.2");
  mailer.done();
  EXPECT_TRUE(listener.IsOpen(1)) << "the other one's connection";
  EXPECT_EQ(listener.peers[1].sent, "");
  settings.WebAccessEmail = false;
  Send(1, "GET / HTTP/1.0\r\n\r\n");
  EXPECT_TRUE(StartsWith(listener.peers[1].sent, "HTTP/1.0 200"));
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
