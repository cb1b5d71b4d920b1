// Logins: names, passwords and slots, and the mail that tells of each.
#include <gtest/gtest.h>

#include "support/web_rig.h"

namespace vantry {
namespace {

// "admin" with "secret" opens all sites.
struct LoginTest : WebTest {
  LoginTest() {
    settings.WebAccessControl = true;
    settings.WebUsername = "admin";
    settings.WebPassword = "secret";
  }
  void MailLogins() {
    settings.WebAccessEmail = true;
    settings.EmailSendTo = "op@example";
    mailer.slow = true;
  }
};

TEST_F(LoginTest, LoginLivesFromPageToPageInItsSlot) {
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

TEST_F(LoginTest, LoginIsBoundToItsAddress) {
  Login("admin", "secret");
  EXPECT_TRUE(Contains(Get("/?LIST&", 1, "10.0.0.2"), "Please Enter"));
  EXPECT_TRUE(Contains(Get("/?LIST&", 1, "10.0.0.1"), "Please Enter"));
}

TEST_F(LoginTest, WrongLoginIsForgottenAndNotLogged) {
  EXPECT_TRUE(Contains(Login("admin", "wrong"), "Invalid user name or password. Click Back and try again."));
  EXPECT_FALSE(web->Pages().clients[1].CredentialsGiven);
  EXPECT_EQ(files.Get("/data/webaccess.log"), "<none>");
}

TEST_F(LoginTest, PasswordAtTheEndOfABodyLosesACharacterAndFails) {
  const std::string body = "UserName=admin&Password=secret";
  EXPECT_TRUE(Contains(Request("POST / HTTP/1.0\r\nContent-Length: 30\r\n\r\n" + body), "Invalid user name"));
}

TEST_F(LoginTest, SiteUserLogsInAndASlotKeepsAllSites) {
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

TEST_F(LoginTest, SiteIsOpenedByItsOwnNameAndPasswordTogether) {
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

TEST_F(LoginTest, EveryPageOfALoggedInUserIsMailed) {
  settings.WebAccessEmail = true;
  Login("admin", "secret");
  EXPECT_TRUE(mailer.mails.empty()) << "no recipient";
  settings.EmailSendTo = "op@example";
  Get("/?LIST&");
  Get("/?LIST&");
  ASSERT_EQ(mailer.mails.size(), 2u);
  EXPECT_EQ(mailer.mails[0], "op@example|Vantry Web Access User Login:\r\n3/5/2026 12:00:00 PM 10.0.0.1 4711 ADMIN");
}

TEST_F(LoginTest, ALoginWaitsForItsMailAndNobodyElseDoes) {
  MailLogins();
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

TEST_F(LoginTest, AClientThatLeavesWhileItsLoginIsMailedGetsNothing) {
  MailLogins();
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

}  // namespace
}  // namespace vantry
