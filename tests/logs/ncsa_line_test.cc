// NCSA lines cut by their quotes.
#include "logs/ncsa_line.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "logs/line_parser.h"
#include "logs/recogniser.h"
#include "support/fakes.h"

namespace vantry {
namespace {

constexpr const char* kTime = "[05/Mar/2026:12:00:00 +0100]";

struct Cut {
  const char* what;
  std::string line;
  std::string client, user, target, status, referrer, agent;
};

const std::string kTail = " \"GET /a.htm HTTP/1.1\" 200 5 \"http://b/\" \"A/1 (x; y)\"";

std::vector<Cut> Cuts() {
  const std::string at = kTime, common = at + " \"GET /a.htm HTTP/1.1\" 200 5";
  const auto whole = [&](const char* what, const std::string& head, const char* client, const char* user) {
    return Cut{what, head + " " + at + kTail, client, user, "/a.htm", "200", "http://b/", "A/1 (x; y)"};
  };
  const auto request = [&](const char* what, const std::string& text, const char* target, const char* status = "200") {
    return Cut{what, "10.0.0.1 - - " + at + " \"" + text + "\" " + status + " 5", "10.0.0.1", "-", target, status, "",
               ""};
  };
  return {
      whole("combined", "10.0.0.1 - -", "10.0.0.1", "-"),
      whole("a user with blanks", "10.0.0.1 - Anna Maria Berg", "10.0.0.1", "Anna Maria Berg"),
      whole("a user with brackets", "10.0.0.1 - x [y] [z", "10.0.0.1", "x [y] [z"),
      whole("a user who writes a time", "10.0.0.1 - u [01/Jan/2020:00:00:00 +0000]", "10.0.0.1",
            "u [01/Jan/2020:00:00:00 +0000]"),
      whole("a user with a quote", "10.0.0.1 - a\\\"b", "10.0.0.1", "a\\\"b"),
      whole("virtual host with port", "www.a.example:80 10.0.0.1 - -", "10.0.0.1", "-"),
      whole("virtual host with port, client by name", "www.a.example:443 c.example - anna", "c.example", "anna"),
      whole("virtual host that is an address", "127.0.1.1:80 10.0.0.1 - -", "10.0.0.1", "-"),
      whole("virtual host of IPv6", "[::1]:80 2001:db8::1 - -", "2001:db8::1", "-"),
      whole("virtual host without port", "www.a.example 10.0.0.1 - -", "10.0.0.1", "-"),
      whole("virtual host and a user with blanks", "www.a.example:80 10.0.0.1 - Anna Berg", "10.0.0.1", "Anna Berg"),
      whole("no virtual host is known", "- 2001:db8::1 - -", "2001:db8::1", "-"),
      whole("IPv6", "2001:db8::1 - -", "2001:db8::1", "-"),
      whole("IPv6 that ends like a port", "2001:db8::80 - Anna Berg", "2001:db8::80", "Anna Berg"),
      whole("IPv6 with a zone", "fe80::1%eth0 - -", "fe80::1%eth0", "-"),
      whole("IPv4 in IPv6", "::ffff:10.0.0.1 - -", "::ffff:10.0.0.1", "-"),
      whole("a client by name with a user of two words", "c.example - Anna Berg", "c.example", "Anna Berg"),

      {"common", "10.0.0.1 - - " + common, "10.0.0.1", "-", "/a.htm", "200", "", ""},
      {"more fields after the agent", "10.0.0.1 - - " + common + " \"-\" \"A\" \"1.2.3.4\" 0.012", "10.0.0.1", "-",
       "/a.htm", "200", "-", "A"},
      {"escaped quotes", "10.0.0.1 - - " + at + " \"GET /a\\\"b.htm HTTP/1.1\" 404 5 \"-\" \"A \\\"B\\\" C\"",
       "10.0.0.1", "-", "/a\\\"b.htm", "404", "-", "A \\\"B\\\" C"},
      {"a backslash before the end", "10.0.0.1 - - " + common + " \"-\" \"A\\\\\" \"x\"", "10.0.0.1", "-", "/a.htm",
       "200", "-", "A\\\\"},
      {"hexadecimal escapes", "10.0.0.1 - - " + common + " \"-\" \"A \\x22B\\x22\"", "10.0.0.1", "-", "/a.htm", "200",
       "-", "A \\x22B\\x22"},
      {"quotes that nobody escaped", "10.0.0.1 - - " + at + " \"GET /a\" b.htm HTTP/1.1\" 404 5 \"-\" \"A \"B\"C\"",
       "10.0.0.1", "-", "/a\" b.htm", "404", "-", "A \"B\"C"},
      {"a backslash that escapes nothing", "10.0.0.1 - - " + at + " \"GET /a\\\" 404 5", "10.0.0.1", "-", "/a\\", "404",
       "", ""},
      {"the agent is cut off", "10.0.0.1 - - " + common + " \"http://b/\" \"A/1 (x", "10.0.0.1", "-", "/a.htm", "200",
       "http://b/", "A/1 (x"},
      {"cut in the request", "10.0.0.1 - - " + at + " \"GET /a.htm HT", "10.0.0.1", "-", "", "", "", ""},
      {"cut in the status", "10.0.0.1 - - " + at + " \"GET /a.htm HTTP/1.1\" 20", "10.0.0.1", "-", "", "", "", ""},

      request("blanks in the page", "GET /a b.htm HTTP/1.1", "/a b.htm"),
      request("no protocol", "GET /a.htm", "/a.htm"),
      request("a proxy's request", "GET http://h/a.htm HTTP/1.1", "http://h/a.htm"),
      request("no request", "-", "", "408"),
      request("nothing", "", "", "400"),
      request("an encrypted connection", "\\x16\\x03\\x01\\x02", "", "400"),
      request("raw bytes", std::string("\x16\x03 \x00\xff /a.htm", 12), "", "400"),
      request("all of the server", "OPTIONS * HTTP/1.0", ""),
      request("a tunnel", "CONNECT h.example:443 HTTP/1.1", ""),
      request("only blanks", "   ", "", "400"),
  };
}

TEST(NcsaLine, Cuts) {
  for (const Cut& c : Cuts()) {
    SCOPED_TRACE(c.what);
    NcsaLine line;
    line.Start(c.line);
    EXPECT_EQ(line.Stamp(), "05/Mar/2026:12:00:00");
    EXPECT_EQ(line.Zone(), "+0100");
    EXPECT_EQ(line.Client(), c.client);
    EXPECT_EQ(line.User(), c.user);
    EXPECT_EQ(line.Target(), c.target);
    EXPECT_EQ(line.Status(), c.status);
    EXPECT_EQ(line.Referrer(), c.referrer);
    EXPECT_EQ(line.Agent(), c.agent);
  }
}

TEST(NcsaLine, NoPrefixOfALineIsTakenForMore) {
  for (const Cut& c : Cuts()) {
    for (size_t size = 0; size <= c.line.size(); ++size) {
      const std::string part = c.line.substr(0, size);
      NcsaLine line;
      line.Start(part);
      EXPECT_TRUE(line.Target().empty() || line.Target() == c.target) << part;
      EXPECT_TRUE(line.Stamp().empty() || line.Client() == c.client) << part;
      EXPECT_TRUE(line.Target().empty() || line.Status() == c.status) << part;
    }
  }
}

TEST(NcsaLine, LinesThatAreNoneGiveNothing) {
  for (const std::string bad : {"", "[", "] \"", " [] \"", "[05/Mar/2026:12:00:00 +0100] \"GET /a.htm HTTP/1.1\" 200 5",
                                "10.0.0.1 - - [05-Mar-2026 12:00:00] \"GET /a.htm HTTP/1.1\" 200 5", "#Fields: x",
                                "10.0.0.1 - - 05/Mar/2026:12:00:00 \"GET /a.htm HTTP/1.1\" 200 5"}) {
    NcsaLine line;
    line.Start(bad);
    EXPECT_EQ(line.Stamp(), "") << bad;
    EXPECT_EQ(std::string(line.Target()) + std::string(line.Status()) + std::string(line.Agent()), "") << bad;
  }
}

TEST(NcsaLine, TimeMayLackItsZone) {
  NcsaLine line;
  line.Start("h - - [05/Mar/2026:12:00:00] \"GET / HTTP/1.1\" 200 1");
  EXPECT_EQ(line.Stamp(), "05/Mar/2026:12:00:00");
  EXPECT_EQ(line.Zone(), "");
  EXPECT_EQ(line.Target(), "/");
}

TEST(NcsaLine, ClientInHalfALine) {
  EXPECT_EQ(NcsaClient("10.0.0.1 - - [05/M"), "10.0.0.1");
  EXPECT_EQ(NcsaClient("www.a.example:80 10.0.0.1 - - [05/M"), "10.0.0.1");
  EXPECT_EQ(NcsaClient("10.0"), "10.0");
  EXPECT_EQ(NcsaClient(""), "");
}

TEST(Unescape, TakesTheBackslashOfQuotesAndBackslashesAlone) {
  for (const auto& [text, plain] : std::vector<std::pair<std::string, std::string>>{{"a", "a"},
                                                                                    {"", ""},
                                                                                    {R"(a\"b)", R"(a"b)"},
                                                                                    {R"(a\\b)", R"(a\b)"},
                                                                                    {R"(\\\")", R"(\")"},
                                                                                    {R"(\x16\t)", R"(\x16\t)"},
                                                                                    {R"(a\)", R"(a\)"}}) {
    std::string changed = text;
    Unescape(changed);
    EXPECT_EQ(changed, plain) << text;
  }
}

struct QuotedRig {
  HitRec hit;
  int32_t shift = 0;
  FakeClock clock;
  LineParser parser{hit, shift, clock};
  SiteRec site;
  explicit QuotedRig(bool quoted = true, bool true_times = false) {
    parser.SetFormat(FormatOf(LogType::kNCSA), {.true_times = true_times, .quoted_fields = quoted});
    site.HomePage = "home.php";
  }
  void Line(const std::string& line) {
    parser.ReadTime(line);
    parser.ReadPage(site);
    parser.ReadAddress();
    parser.ReadRemainingFields();
  }
};

constexpr const char* kCrawler =
    "www.a.example:80 2001:db8::7 - - [05/Mar/2026:12:00:00 +0100] \"GET /index.php?id=3&q=a?b HTTP/1.1\" 301 5 "
    "\"http://b/?x\" \"Mozilla/5.0 (compatible; \\\"Any\\\"bot/2.1)\"";

TEST(LineParser, QuotedFieldsOfAnNcsaLineAreWhole) {
  for (const bool include : {false, true}) {
    QuotedRig rig;
    rig.site.IncludeQuery = include;
    rig.Line(kCrawler);
    EXPECT_EQ(rig.hit.HitIP, "2001:db8::7");
    EXPECT_EQ(rig.hit.HitPage, "/index.php");
    EXPECT_EQ(rig.hit.HitQuery, include ? "id=3&q=a?b" : "");
    EXPECT_EQ(rig.hit.HitStatus, 301);
    EXPECT_EQ(rig.hit.HitReferrer, "http://b/?x");
    EXPECT_EQ(rig.hit.HitAgent, "Mozilla/5.0 (compatible; Anybot/2.1)");
    EXPECT_EQ(rig.shift, 3600);
    EXPECT_EQ(rig.parser.AddressIn(kCrawler), "2001:db8::7");
    rig.Line("10.0.0.1 - - [05/Mar/2026:12:00:01 +0100] \"GET /?x=1 HTTP/1.1\" 200 5");
    EXPECT_EQ(rig.hit.HitPage, "/home.php");
    EXPECT_EQ(rig.hit.HitQuery, include ? "x=1" : "");
    EXPECT_EQ(rig.hit.HitAgent, "") << "a line without an agent has none, whatever the line before had";
    rig.Line("10.0.0.1 - - [05/Mar/2026:12:00:02 +0100] \"GET /b.htm HTTP/1.1\" 200 5");
    EXPECT_EQ(rig.hit.HitQuery, "");
    rig.Line("10.0.0.1 - - [05/Mar/2026:12:00:02 +0100] \"-\" 408 -");
    EXPECT_EQ(rig.hit.HitPage, "");
  }
}

TEST(LineParser, ClassicNcsaLineIsCutAtBlanks) {
  QuotedRig rig(false);
  rig.Line(kCrawler);
  EXPECT_EQ(rig.hit.HitIP, "www.a.example:80");
  rig.Line("10.0.0.1 - - [05/Mar/2026:12:00:01 +0100] \"GET /index.php?id=3 HTTP/1.1\" 200 5 \"-\" \"A/1 (x; y)\"");
  EXPECT_EQ(rig.hit.HitPage, "/index.php?id=3");
  EXPECT_EQ(rig.hit.HitAgent, "A/1");
}

TEST(LineParser, QuotedFieldsAndTrueTimesTogether) {
  QuotedRig rig(true, true);
  rig.clock.utc_offset = 2 * 3600;
  const LogTime noon = MakeLogTime(*MakeDay(2026, 3, 5), 12 * 3600);
  EXPECT_EQ(rig.parser.ReadTime(kCrawler).s, noon.s + 3600);
  EXPECT_EQ(rig.parser.ReadTime("h - - [05/Mar/2026:12:00:00] \"GET / HTTP/1.1\" 200 1"), noon);
  EXPECT_EQ(rig.parser.ReadTime("binary \x01\x02 garbage"), noon) << "keeps the time of the line before";
}

TEST(RecogniseLog, TakesMoreOfNcsaLogsThatWillBeReadByTheirQuotes) {
  const std::string rest = std::string(" ") + kTime + kTail + "\n";
  for (const char* head : {"www.a.example:80 10.0.0.1 - -", "www.a.example 10.0.0.1 - -", "10.0.0.1 - Anna Berg",
                           "[::1]:80 2001:db8::1 - -"}) {
    const auto log = RecogniseLog(head + rest, true);
    ASSERT_TRUE(log.has_value()) << head;
    EXPECT_EQ(log->type, LogType::kNCSA);
    EXPECT_FALSE(RecogniseLog(head + rest).has_value()) << head;
  }
  for (const std::string& good : {"2001:db8::1 - -" + rest, "h - - " + std::string(kTime) + " \"-\" 408 -\n"}) {
    EXPECT_TRUE(RecogniseLog(good, true).has_value());
    EXPECT_TRUE(RecogniseLog(good).has_value());
  }
  for (const std::string& bad :
       {"v h x y" + rest, "h" + rest, " - -" + rest, std::string("The letter [05/Mar/2026:12:00:00 +0100] \"x\"\n")}) {
    EXPECT_FALSE(RecogniseLog(bad, true).has_value()) << bad;
  }
}

}  // namespace
}  // namespace vantry
