// Logins with their corrections: cookies, forms, phones, guessing, what a site's user sees.
#include <set>

#include <gtest/gtest.h>

#include "support/web_rig.h"
#include "web/logins.h"
#include "web/request_reader.h"

namespace vantry {
namespace {

struct CorrectedLoginTest : WebTest {
  CorrectedLoginTest() {
    settings.WebAccessControl = true;
    settings.WebUsername = "admin";
    settings.WebPassword = "secret";
    AddSite("www.one.example").WebAccess = true;
    t.Sites[0].WebUserName = "bob";
    t.Sites[0].WebPassword = "spade";
    AddSite("www.two.example").WebAccess = true;
    t.Sites[1].WebUserName = "eve";
    t.Sites[1].WebPassword = "apple";
    t.Sites[0].CurrentVisitors = t.Sites[1].CurrentVisitors = 1;
    AddVisitor(1, "10.9.0.1");
    AddVisitor(2, "10.9.0.2").DNS = "secret-visitor";
  }
  std::string Post(const std::string& body, const std::string& headers = "", int n = 1,
                   const std::string& host = "10.0.0.1", const std::string& url = "/") {
    return Request("POST " + url + " HTTP/1.0\r\n" + headers + "Content-Length: " + std::to_string(body.size()) +
                       "\r\n\r\n" + body,
                   n, host);
  }
  static std::string Form(const std::string& user, const std::string& password) {
    return "UserName=" + user + "&Password=" + password + "&B1=Submit";
  }
  // The cookie of an answer as a header of the next request; empty when it sets none.
  static std::string CookieOf(const std::string& answer) {
    const size_t begin = answer.find("Set-Cookie: ");
    if (begin == std::string::npos) return {};
    return "Cookie: " + answer.substr(begin + 12, answer.find(';', begin) - begin - 12) + "\r\n";
  }
  std::string GetWith(const std::string& headers, const std::string& url = "/?LIST&", int n = 1,
                      const std::string& host = "10.0.0.1") {
    return Request("GET " + url + " HTTP/1.0\r\n" + headers + "\r\n", n, host);
  }
  static bool Asks(const std::string& page) { return Contains(page, "Please Enter Your User Name and Password"); }
};

TEST_F(CorrectedLoginTest, ACookieIsTheLoginWhateverAddressAndConnection) {
  t.Corrected.LoginCookie = true;
  const std::string answer = Post(Form("Admin", "Secret"));
  const std::string head = answer.substr(0, answer.find("\r\n\r\n"));
  const std::string cookie = CookieOf(answer);
  EXPECT_EQ(cookie.substr(0, 19), "Cookie: Vantry8004=");
  EXPECT_EQ(cookie.size(), 19u + 32u + 2u);
  EXPECT_TRUE(head.ends_with("; Path=/; HttpOnly; SameSite=Strict")) << head;
  EXPECT_TRUE(Contains(answer, "<a href=\"?LOGOUT\"><font color=\"#FFFFFF\">Log out</font></a>"));
  EXPECT_TRUE(Asks(GetWith(""))) << "the place alone is no login";
  EXPECT_TRUE(Contains(GetWith("Cookie: a=b; " + cookie.substr(8)), "host.example"));
  EXPECT_TRUE(Contains(GetWith(cookie, "/", 2, "10.0.0.2"), "Sites Being Monitored"));
  for (const std::string& wrong :
       {std::string("Cookie: Vantry8004=\r\n"), std::string("Cookie: Vantry8004=00\r\n"),
        "Cookie: x" + cookie.substr(8), cookie.substr(0, 30) + "\r\n", std::string("Cookie: Vantry8004\r\n")}) {
    EXPECT_TRUE(Asks(GetWith(wrong))) << wrong;
  }
}

TEST_F(CorrectedLoginTest, EachHasALoginOfTheirOwnAndLogoutEndsIt) {
  t.Corrected.LoginCookie = true;
  const std::string admin = CookieOf(Post(Form("admin", "secret")));
  const std::string bob = CookieOf(Post(Form("bob", "spade")));
  EXPECT_NE(admin, bob);
  EXPECT_TRUE(Contains(GetWith(bob, "/?SITES"), "User: BOB"));
  EXPECT_FALSE(Contains(GetWith(bob, "/?SITES"), "www.two.example")) << "in the place where the administrator was";
  EXPECT_TRUE(Contains(GetWith(admin, "/?SITES"), "www.two.example"));
  EXPECT_TRUE(Contains(Post(Form("admin", "wrong"), bob), "Invalid user name"));
  EXPECT_FALSE(Asks(GetWith(bob))) << "a mistyped form ends nobody's login";
  const std::string left = GetWith(admin, "/?LOGOUT");
  EXPECT_TRUE(Asks(left));
  EXPECT_TRUE(Contains(left, "Set-Cookie: Vantry8004=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict\r\n"));
  EXPECT_TRUE(Contains(left, "action=\"?SITES\"")) << "the page behind the form must not log out again";
  EXPECT_TRUE(Asks(GetWith(admin)));
  EXPECT_FALSE(Asks(GetWith(bob)));
  const std::string again = CookieOf(Post(Form("bob", "spade"), bob));
  EXPECT_TRUE(Asks(GetWith(bob))) << "a new login of the same browser takes the old one's place";
  EXPECT_FALSE(Asks(GetWith(again)));
}

TEST_F(CorrectedLoginTest, ALoginByCookieEndsAfterSilenceOrWithItsPassword) {
  t.Corrected.LoginCookie = true;
  const std::string cookie = CookieOf(Post(Form("admin", "secret")));
  for (int i = 0; i < 3; ++i) {
    clock.Advance(5 * 60);
    EXPECT_FALSE(Asks(GetWith(cookie)));
  }
  clock.Advance(6 * 60);
  EXPECT_TRUE(Asks(GetWith(cookie)));
  const std::string bob = CookieOf(Post(Form("bob", "spade")));
  t.Sites[0].WebPassword = "changed";
  EXPECT_TRUE(Asks(GetWith(bob)));
  t.Sites[0].WebPassword = "spade";
  EXPECT_TRUE(Asks(GetWith(bob))) << "for good";
  random.fails = true;
  EXPECT_TRUE(Asks(Post(Form("bob", "spade")))) << "without a cookie nobody is let in";
  EXPECT_TRUE(Contains(program_log, "WebServer.BeginLogin"));
}

TEST_F(CorrectedLoginTest, ALoginByCookieIsMailedOnce) {
  t.Corrected.LoginCookie = settings.WebAccessEmail = true;
  settings.EmailSendTo = "op@example";
  const std::string cookie = CookieOf(Post(Form("admin", "secret")));
  GetWith(cookie);
  GetWith(cookie);
  EXPECT_EQ(mailer.mails.size(), 1u);
}

TEST(Logins, TheOneThatHasBeenSilentForLongestMakesRoom) {
  FakeRandom random;
  Logins logins(random);
  FakeClock clock;
  std::vector<std::string> tokens(Logins::kMost + 1);
  for (size_t i = 0; i < Logins::kMost; ++i) ASSERT_TRUE(logins.Begin({"u", "p"}, clock.now, tokens[i]).ok());
  EXPECT_EQ(std::set<std::string>(tokens.begin(), tokens.end()).size(), Logins::kMost + 1);
  EXPECT_NE(logins.Find(tokens[0], clock.now), nullptr);
  ASSERT_TRUE(logins.Begin({"u", "p"}, clock.now, tokens.back()).ok());
  EXPECT_EQ(logins.Count(), Logins::kMost);
  EXPECT_EQ(logins.Find(tokens[1], clock.now), nullptr);
  EXPECT_NE(logins.Find(tokens[0], clock.now), nullptr);
  clock.Advance(6 * 60);
  ASSERT_TRUE(logins.Begin({"u", "p"}, clock.now, tokens.back()).ok());
  EXPECT_EQ(logins.Count(), 1u);
}

TEST(FormField, IsDecodedAsBrowsersWriteIt) {
  struct Case {
    std::string form, value;
  };
  for (const Case& c : std::vector<Case>{{"UserName=a&B=c", "a"},
                                         {"B=c&UserName=a", "a"},
                                         {"UserName=a", "a"},
                                         {"UserName=", ""},
                                         {"UserName=a+b%2Bc%26%3D%25", "a b+c&=%"},
                                         {"UserName=%C3%BCber%00x", std::string("\xc3\xbc"
                                                                                "ber\0x",
                                                                                7)},
                                         {"UserName=100%&x", "100%"},
                                         {"UserName=%4", "%4"},
                                         {"UserName=%zz%4x", "%zz%4x"},
                                         {"User%4eame=x&UserName=y", "x"},
                                         {"UserName=a=b", "a=b"}}) {
    EXPECT_EQ(FormField(c.form, "UserName"), c.value) << c.form;
  }
  for (const char* form : {"", "UserName", "username=a", "XUserName=a", "&&=", "a=UserName=x"}) {
    EXPECT_EQ(FormField(form, "UserName"), std::nullopt) << form;
  }
}

TEST_F(CorrectedLoginTest, DecodedNamesAndPasswordsAreComparedExactly) {
  settings.WebUsername = "Ann Lee";
  settings.WebPassword = "\xc3\xbc+%&=\" Zz";
  const std::string typed = "%C3%BC%2B%25%26%3D%22+Zz";
  EXPECT_TRUE(Contains(Post(Form("Ann+Lee", typed)), "Invalid user name"));
  t.Corrected.DecodeForms = true;
  EXPECT_TRUE(Contains(GetWith("", "/"), "accept-charset=\"UTF-8\""));
  EXPECT_FALSE(Contains(Post(Form("Ann+Lee", typed)), "Invalid user name"));
  EXPECT_FALSE(Contains(Post("UserName=Ann%20Lee&Password=" + typed), "Invalid")) << "nothing of the end is lost";
  for (const auto& [user, password] : {std::pair<std::string, std::string>{"ann+lee", typed},
                                       {"Ann+Lee", "%C3%BC%2B%25%26%3D%22+zz"},
                                       {"Ann+Lee+", typed},
                                       {"Ann+Lee", typed + "%00"},
                                       {"Ann+Lee", ""}}) {
    EXPECT_TRUE(Contains(Post(Form(user, password)), "Invalid user name")) << user << "/" << password;
  }
  Post(Form("Ann+Lee", typed));
  EXPECT_TRUE(Contains(Post("UserName=Ann+Lee"), "Invalid user name")) << "no password is left over";
  EXPECT_TRUE(SameSecret("", "") && SameSecret("ab", "ab"));
  EXPECT_FALSE(SameSecret("", "a") || SameSecret("a", "") || SameSecret("ab", "abc") || SameSecret("ab", "aB"));
  EXPECT_FALSE(SameSecret(std::string(1, '\0'), ""));
}

// What the user of one site gets by every command with each argument that names the other one's.
std::string AllThatBobGets(CorrectedLoginTest& w, const std::string& headers) {
  std::string all;
  for (const Page& page : kPages) {
    for (const std::string_view command : page.commands) {
      if (command.empty()) continue;
      for (const char* argument :
           {"", "&", "&site=www.two.example", "&site=WWW.TWO.EXAMPLE", "&site=ALL", "&site=all&x", "&site=2",
            "&site=", "&domain=www.two.example:10.9.0.2!1", "&domain=www.two.example:10.9.0.2",
            "&site=_www.two.example_", "&site=2:10.9.0.2", "&site=www.two.example&alertno=1",
            "&domain=www.one.example:www.two.example:10.9.0.2"}) {
        all += w.Request("GET /?" + std::string(command) + argument + " HTTP/1.0\r\n" + headers + "\r\n");
      }
    }
  }
  return all;
}

TEST_F(CorrectedLoginTest, TheUserOfASiteSeesThatSiteAlone) {
  t.Sites[1].WebReferrers = true;
  Login("admin", "secret");
  Login("bob", "spade");
  EXPECT_TRUE(Contains(AllThatBobGets(*this, ""), "secret-visitor")) << "classic";
  for (const bool cookie : {false, true}) {
    t.Corrected.LoginCookie = cookie;
    t.Corrected.OwnSiteOnly = true;
    const std::string administrator = CookieOf(Login("admin", "secret"));
    EXPECT_TRUE(Contains(AllThatBobGets(*this, administrator), "secret-visitor"));
    const std::string bob = CookieOf(Login("bob", "spade"));
    const std::string all = AllThatBobGets(*this, bob);
    EXPECT_TRUE(Contains(all, "www.one.example\t7\thost.example"));
    EXPECT_TRUE(Contains(all, "1 Total Active Visitors"));
    EXPECT_FALSE(Contains(all, "secret-visitor"));
    EXPECT_FALSE(Contains(all, "Name of www.two.example"));
    for (const char* mark : {"Raised Today For: <a href=\"http://www.two", ":<a href=\"http://www.two",
                             "Sites For: www.two.example", " On <a href=\"http://www.two"}) {
      EXPECT_FALSE(Contains(all, mark)) << mark;
    }
  }
  settings.WebAccessControl = false;
  EXPECT_TRUE(Contains(GetWith(""), "secret-visitor")) << "nobody is asked to log in";
}

TEST_F(CorrectedLoginTest, AnswersOfAGuesserWaitAndOthersDoNot) {
  t.Corrected.SlowGuessing = true;
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(Contains(Login("admin", "x"), "Invalid user name")) << i;
  EXPECT_EQ(Login("admin", "x"), "");
  EXPECT_EQ(listener.events.claim(1), Claim::kSlowed);
  EXPECT_FALSE(Contains(Post(Form("admin", "secret"), "", 2, "10.0.0.2"), "Invalid")) << "from another address";
  EXPECT_EQ(Post(Form("admin", "secret"), "", 3), "") << "from the same address the right one waits too";
  EXPECT_TRUE(Asks(GetWith("", "/?LIST&", 4))) << "pages don't wait";
  clock.steady.ms += 999;
  loop.Tick(WebServer::kBrakeMs);
  EXPECT_EQ(listener.peers[1].sent, "");
  clock.steady.ms += 1;
  loop.Tick(WebServer::kBrakeMs);
  EXPECT_TRUE(Contains(listener.peers[1].sent, "Invalid user name"));
  EXPECT_FALSE(listener.IsOpen(1));
  EXPECT_EQ(listener.peers[3].sent, "");
  clock.steady.ms += 1000;
  loop.Tick(WebServer::kBrakeMs);
  EXPECT_TRUE(Contains(listener.peers[3].sent, "Sites Being Monitored"));
  EXPECT_TRUE(Contains(GetWith("", "/?LIST&", 3), "host.example")) << "and is logged in";
  for (const auto& timer : loop.timers) {
    if (timer->period_ms == WebServer::kBrakeMs) {
      EXPECT_FALSE(timer->enabled);
    }
  }
}

TEST_F(CorrectedLoginTest, WhoLeavesBeforeTheAnswerLearnsNothing) {
  t.Corrected.SlowGuessing = true;
  for (int i = 0; i < 10; ++i) Login("admin", "x");
  for (const char* password : {"x", "secret"}) {
    EXPECT_EQ(Login("admin", password), "");
    EXPECT_TRUE(Asks(GetWith(""))) << "the next request in the same place is told nothing: " << password;
    EXPECT_TRUE(Asks(Post("Password=secret&B1=Submit"))) << password;
    clock.steady.ms += 60'000;
    loop.Tick(WebServer::kBrakeMs);
    EXPECT_FALSE(Contains(listener.peers[1].sent, "Invalid"));
  }
}

TEST_F(CorrectedLoginTest, PhonesAreAskedToLogIn) {
  const std::string phone = "Accept: text/vnd.wap.wml\r\n";
  EXPECT_TRUE(Contains(GetWith(phone, "/"), "Name of www.one.example"));
  listener.Close(1, true);
  Restart({});
  t.Corrected.PhonesLogIn = true;
  for (const char* url : {"/", "/?SITES", "/?LIST&", "/?SITETABLE&site=ALL"}) {
    const std::string deck = GetWith(phone, url);
    EXPECT_TRUE(StartsWith(deck, "Content-Type: text/vnd.wap.wml\r\nCache-Control: no-cache\r\n<?xml")) << url;
    EXPECT_TRUE(Contains(deck, "<postfield name=\"UserName\" value=\"$(user)\"/>")) << url;
    EXPECT_FALSE(Contains(deck, "one.example")) << url;
  }
  EXPECT_FALSE(web->Pages().clients[1].AllSites);
  const std::string refused = Post(Form("admin", "x"), phone);
  EXPECT_TRUE(Contains(refused, "<p>Invalid user name or password.</p>") && Contains(refused, "</wml>"));
  const std::string all = Post(Form("admin", "secret"), phone);
  EXPECT_TRUE(Contains(all, "Name of www.one.example") && Contains(all, "Name of www.two.example"));
  Restart({});
  t.Corrected.LoginCookie = true;
  const std::string bob = Post(Form("bob", "spade"), phone);
  EXPECT_TRUE(Contains(bob, "wml\r\nSet-Cookie: Vantry8004="));
  EXPECT_TRUE(Contains(bob, "Name of www.one.example"));
  EXPECT_FALSE(Contains(bob, "two.example"));
  settings.WebAccessControl = false;
  EXPECT_TRUE(Contains(GetWith(phone, "/"), "Name of www.two.example"));
}

TEST_F(CorrectedLoginTest, PagesComeAndSayPausedWithAnswerPaused) {
  settings.WebAccessControl = false;
  control.monitoring = false;
  EXPECT_EQ(GetWith("", "/"), "");
  listener.Close(1, true);
  t.Corrected.AnswerPaused = true;
  const std::string page = GetWith("", "/");
  EXPECT_TRUE(Contains(page, "<TITLE>Vantry - Real Time Web Server Monitor [Paused]</TITLE>"));
  EXPECT_TRUE(Contains(page, "<b>Vantry Web Access [Paused]</b>"));
  EXPECT_TRUE(Contains(GetWith("", "/?VISITOR&domain=www.one.example:10.9.0.1!1"), "Visit Details [Paused]</TITLE>"));
  EXPECT_TRUE(Contains(GetWith("Accept: wap.wml\r\n", "/"), "title=\"Vantry WAP [Paused]\""));
  EXPECT_TRUE(Contains(GetWith("Accept: */*\r\n"), "www.one.example\t7")) << "the list stays as it is";
  Connect(2);
  Send(2, "@HELLO\r\n");
  EXPECT_EQ(listener.peers[2].sent, "Vantry 2.0.000 [Paused] [Paused]\r\n");
  control.monitoring = true;
  EXPECT_FALSE(Contains(GetWith("", "/"), "aused"));
}

}  // namespace
}  // namespace vantry
