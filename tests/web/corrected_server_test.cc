// The web access with its corrections: who may steer, under which names it is served, who is let in.
#include <gtest/gtest.h>

#include "support/web_rig.h"
#include "web/host_check.h"

namespace vantry {
namespace {

constexpr char kHi[] = "Vantry 2.0.000 [Running]\r\n";

TEST_F(WebTest, ReloadIsAControlLineOfItsCorrection) {
  Connect(1);
  Send(1, "@RELOAD\r\n");
  EXPECT_EQ(listener.peers[1].sent, "");
  EXPECT_TRUE(control.calls.empty());
  t.Corrected.KeepEdits = true;
  Send(1, "@reload\r\n");
  EXPECT_EQ(listener.peers[1].sent, "Vantry 2.0.000: nothing was edited\r\n");
  EXPECT_EQ(control.calls, std::vector<std::string>{"reload"});
}

TEST_F(WebTest, ControlLinesInARequestAreNoneWithControlAlone) {
  for (const bool corrected : {false, true}) {
    t.Corrected.ControlAlone = corrected;
    control.calls.clear();
    for (const char* request : {"GET / HTTP/1.0\r\n@@STOP\r\n", "POST / HTTP/1.0\r\n\r\n@@STOP\r\n",
                                "POST / HTTP/1.0\r\nContent-Length: 6\r\n\r\n@@STOP", "nothing\r\n@@STOP\r\n",
                                "\r\n@@STOP\r\n", "POST / HTTP/1.0\r\nX: y\r\n@@STOP: z\r\n@@STOP\r\n\r\n"}) {
      Connect(1);
      Send(1, request);
    }
    EXPECT_EQ(control.calls.size(), corrected ? 0u : 6u);
  }
}

TEST_F(WebTest, AConsoleSaysSeveralControlLinesWithControlAlone) {
  t.Corrected.ControlAlone = true;
  Connect(1);
  Send(1, "@HELLO\r\n@NOPE\r\n@HELLO\r\n");
  EXPECT_EQ(listener.peers[1].sent, std::string(kHi) + kHi);
  Send(1, "GET /?LIST& HTTP/1.0\r\n@HELLO\r\n");
  EXPECT_EQ(listener.peers[1].sent, std::string(kHi) + kHi) << "it became a browser";
  Connect(1);
  Send(1, "@HELLO\r\n");
  EXPECT_EQ(listener.peers[1].sent, kHi) << "another connection";
}

TEST(HostCheck, AddressesLocalhostAndNamedHostsAreServed) {
  const std::vector<std::string> allowed = {"Vantry.example", "box"};
  for (const char* host : {"127.0.0.1", "127.0.0.1:8004", "192.0.2.255", "[::1]", "[::1]:8004", "[2001:DB8::1%2]",
                           "[::ffff:192.0.2.1]:1", "localhost", "LOCALHOST:80", "localhost.", "vantry.EXAMPLE",
                           "vantry.example:8004", "vantry.example.", "BOX", "box:"}) {
    EXPECT_EQ(HostAllowed(host, allowed), !Contains(host, "%")) << host;
  }
  for (const char* host : {"",
                           ":80",
                           ".",
                           "evil.example",
                           "a.vantry.example",
                           "vantry.example.evil.example",
                           "256.0.0.1",
                           "1.2.3",
                           "1.2.3.",
                           "1.2.3.4.5",
                           "1.2.3.4a",
                           "1..2.3",
                           "::1",
                           "[::1",
                           "[x::1]",
                           "[]",
                           "[:]",
                           "localhost:80a",
                           "localhost:123456",
                           "localhost:80:80",
                           "local host",
                           "evil.example#localhost",
                           "localhost/x",
                           "user@localhost",
                           "vantry.example\t"}) {
    EXPECT_FALSE(HostAllowed(host, allowed)) << host;
  }
  EXPECT_FALSE(HostAllowed("vantry.example", {}));
  EXPECT_TRUE(HostAllowed("localhost", {}));
}

TEST(HostCheck, NamesOfHostsHaveLettersDigitsDashesAndDots) {
  for (const char* name : {"a", "vantry.my.example", "A-1_b.example", "192.0.2.1"})
    EXPECT_TRUE(IsServerName(name)) << name;
  for (const std::string& name :
       {std::string(), std::string("a b"), std::string("a:80"), std::string("a/b"), std::string("*.example"),
        std::string(".example"), std::string(254, 'a'), std::string("b\xc3\xbc.example"), std::string("a,b")}) {
    EXPECT_FALSE(IsServerName(name)) << name;
  }
}

TEST_F(WebTest, ForeignHostsAreRefusedWithCheckHost) {
  WebSecurity security;
  security.allowed_hosts = {"vantry.example"};
  Restart(security);
  const auto ask = [&](const std::string& version, const std::string& headers) {
    return Request("GET /?LIST& " + version + "\r\n" + headers + "\r\n");
  };
  const std::string kForeign = "Host: evil.example\r\n";
  EXPECT_EQ(ask("HTTP/1.1", kForeign), "\r\n") << "classic serves everybody";
  EXPECT_EQ(ask("HTTP/1.1", ""), "\r\n");
  t.Corrected.CheckHost = true;
  program_log.clear();
  for (const char* headers : {"Host: 10.0.0.1:8004\r\n", "host:localhost\r\n", "HOST: Vantry.Example:8004\r\n"}) {
    EXPECT_EQ(ask("HTTP/1.1", headers), "\r\n") << headers;
  }
  EXPECT_EQ(ask("HTTP/1.0", ""), "\r\n") << "consoles and old clients name none";
  EXPECT_EQ(program_log, "");
  files.entries.erase("/data/webaccess.log");
  for (const std::string& headers :
       {kForeign, kForeign + "Host: localhost\r\n", "Host: localhost\r\n" + kForeign, std::string("Host:\r\n")}) {
    const std::string answer = ask("HTTP/1.0", headers);
    EXPECT_TRUE(StartsWith(answer, "HTTP/1.0 403 Forbidden\r\nContent-Type: text/plain\r\n\r\n")) << headers;
    EXPECT_TRUE(Contains(answer, "AllowedHosts")) << headers;
    EXPECT_FALSE(listener.IsOpen(1));
  }
  EXPECT_TRUE(Contains(ask("HTTP/1.1", ""), "403"));
  EXPECT_TRUE(Contains(ask("http/1.1", "X: y\r\n"), "403"));
  EXPECT_EQ(files.Get("/data/webaccess.log"), "<none>");
  const std::string refused = "Refused a request of 10.0.0.1 for the host '";
  EXPECT_TRUE(Contains(program_log, refused + "evil.example', which AllowedHosts in section [Security]"));
  EXPECT_TRUE(Contains(program_log, refused + "(none)'"));
  EXPECT_EQ(std::count(program_log.begin(), program_log.end(), '\n'), 2) << "each once";
  for (int i = 0; i < 300; ++i) ask("HTTP/1.1", "Host: h" + std::to_string(i) + "\x1b.example\r\n");
  EXPECT_EQ(std::count(program_log.begin(), program_log.end(), '\n'), 100);
  EXPECT_FALSE(Contains(program_log, "\x1b"));
}

TEST_F(WebTest, AnEmptyNameLetsNobodyInWithRefuseEmptyLogin) {
  settings.WebAccessControl = true;
  AddSite("x").WebPassword = "pw";
  AddSite("y").WebUserName = "  ";
  for (const bool corrected : {false, true}) {
    t.Corrected.RefuseEmptyLogin = corrected;
    for (const char* password : {"", "secret"}) {
      settings.WebPassword = password;
      EXPECT_EQ(Contains(Login("", password), "Invalid user name"), corrected) << password;
      EXPECT_EQ(Contains(Login("%20", password), "Invalid user name"), true) << "classic decodes nothing";
      EXPECT_EQ(Contains(Login("  ", password), "Invalid user name"), corrected) << password;
    }
    EXPECT_TRUE(Contains(Login("", "pw"), "Invalid user name"));
  }
  settings.WebUsername = "admin";
  EXPECT_FALSE(Contains(Login("admin", "secret"), "Invalid user name"));
}

}  // namespace
}  // namespace vantry
