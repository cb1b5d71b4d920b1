#include "logs/recogniser.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

struct Case {
  const char* what;
  std::string bytes;
  std::optional<LogType> type;
  bool unix_lines = false;
};

const std::string kW3C =
    "#Software: Microsoft Internet Information Services 5.0\r\n#Version: 1.0\r\n#Date: 2026-01-05 00:00:01\r\n"
    "#Fields: date time c-ip cs-username s-ip cs-method cs-uri-stem cs-uri-query sc-status cs(User-Agent)\r\n"
    "2026-01-05 00:00:01 192.0.2.1 - 192.0.2.9 GET /index.html - 200 Mozilla/4.0\r\n";
const std::string kIIS =
    "192.0.2.1, -, 1/5/2026, 7:55:20, W3SVC1, HOST, 192.0.2.9, 4502, 163, 3223, 200, 0, GET, /logo.gif, -,\r\n";
const std::string kNCSA = "192.0.2.1 - fred [10/Oct/2026:13:55:36 -0700] \"GET /index.html HTTP/1.0\" 200 2326\n";
const std::string kProxy =
    "192.0.2.1, anonymous, Mozilla/4.0, Y, 1/5/2026, 7:55:20, 1, HOST, -, example.org, 192.0.2.9, 80, 100, 200, 300, "
    "http, -, GET, http://example.org/index.html, -, Inet, 200, 0\r\n";
const std::string kFirewall =
    "#Verson: 1.0\r\n#Software: Microsoft Internet Connection Firewall\r\n#Time Format: Local\r\n"
    "#Fields: date time action protocol src-ip dst-ip src-port dst-port size tcpflags tcpsyn tcpack tcpwin\r\n";
const std::string kISA =
    "#Software: Microsoft(R) Internet Security and Acceleration Server 2000\r\n"
    "#Fields: c-ip\tcs-username\tc-agent\tdate\ttime\ts-computername\tcs-referred\tr-host\tcs-uri\tsc-status\r\n";

const Case kCases[] = {
    {"W3C", kW3C, LogType::kW3C, false},
    {"W3C behind blank lines, LF", "\n \n#FIELDS: time c-ip cs-uri-stem\n", LogType::kW3C, true},
    {"IIS", kIIS, LogType::kIIS, false},
    {"IIS without the last comma", "192.0.2.1,-,12/31/2026,7:55:20,W3SVC1,H,192.0.2.9,1,2,3,200,0,GET,/a.htm\n",
     LogType::kIIS, true},
    {"NCSA common", kNCSA, LogType::kNCSA, true},
    {"NCSA combined", "h.example - - [01/Jan/2026:00:00:00 +0000] \"GET / HTTP/1.1\" 304 - \"-\" \"Mozilla/5.0\"\r\n",
     LogType::kNCSA, false},
    {"NCSA, request with quotes", "h - - [01/Jan/2026:00:00:00 +0000] \"GET /a\" b.html HTTP/1.1\" 404 12\n",
     LogType::kNCSA, true},
    {"NCSA whose last line has no end", kNCSA.substr(0, kNCSA.size() - 1), LogType::kNCSA, false},
    {"NCSA behind the rest of a line", "tml HTTP/1.0\" 200 17\n" + kNCSA, LogType::kNCSA, true},
    {"NCSA without a zone", "h - - [01/Jan/2026:00:00:59] \"GET / HTTP/1.1\" 200 1\n", LogType::kNCSA, true},
    {"proxy", kProxy, LogType::kProxy, false},
    {"firewall by its fields", "#Fields: date time action protocol src-ip dst-ip src-port dst-port size\n",
     LogType::kFirewall, true},
    {"firewall by its maker's name", "#Version: 1.5\r\n#Software: Microsoft Windows Firewall\r\n", LogType::kFirewall},
    {"firewall of the first edition", kFirewall, LogType::kFirewall},
    {"ISA", kISA, LogType::kISA},

    {"nothing", "", std::nullopt},
    {"blank lines alone", "\n\r\n  \n", std::nullopt},
    {"prose", "This is a letter, not a log.\nIt has two lines.\n", std::nullopt},
    {"zeros", std::string(4096, '\0'), std::nullopt},
    {"a picture", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16), std::nullopt},
    {"a log with zero bytes", kNCSA + std::string(1, '\0'), std::nullopt},
    {"high bytes", std::string(300, '\xff') + "\n", std::nullopt},
    {"a header cut in its names", "#Fields: time c-ip cs-uri-stem", std::nullopt},
    {"a header of another kind", "#Fields: date time s-event x-comment\n", std::nullopt},
    {"ISA names between blanks", "#Fields: c-ip c-agent date time cs-uri\n", std::nullopt},
    {"half an NCSA line", "192.0.2.1 - - [10/Oct/2026:13:55:3", std::nullopt},
    {"NCSA cut before the status", "192.0.2.1 - - [10/Oct/2026:13:55:36 -0700] \"GET / HTTP/1.0\" ", std::nullopt},
    {"NCSA with a date that is none", "h - - [31/Feb/2026:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n", std::nullopt},
    {"NCSA with a fourth word in front", "v h - - [01/Jan/2026:00:00:00 +0000] \"GET / HTTP/1.1\" 200 1\n",
     std::nullopt},
    {"NCSA with a date of 19 characters", "h - - [01/Jan/2026:00:00:5] \"GET / HTTP/1.1\" 200 1\n", std::nullopt},
    {"half an IIS line", "192.0.2.1, -, 1/5/2026, 7:55:20, W3SVC1", std::nullopt},
    {"a table with commas", "a,b,c,d,e,f,g,h,i,j,k,l,m,n,o\n1,2,3,4,5,6,7,8,9,10,11,12,13,14,15\n", std::nullopt},
    {"half a proxy line", kProxy.substr(0, 60), std::nullopt},
};

TEST(RecogniseLog, Cases) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    const auto log = RecogniseLog(c.bytes);
    EXPECT_EQ(log.has_value(), c.type.has_value());
    if (!log || !c.type) continue;
    EXPECT_EQ(log->type, *c.type);
    EXPECT_EQ(log->unix_lines, c.unix_lines);
  }
}

TEST(RecogniseLog, LooksAtTheFirstLinesAlone) {
  std::string far;
  for (int i = 0; i < 100; ++i) far += "no log line\n";
  EXPECT_FALSE(RecogniseLog(far + kNCSA).has_value());
}

TEST(RecogniseLog, NoPrefixOfALogIsTakenForAnotherType) {
  for (const std::string& log : {kW3C, kIIS, kNCSA, kProxy, kFirewall, kISA}) {
    const auto whole = RecogniseLog(log);
    ASSERT_TRUE(whole.has_value());
    for (size_t size = 0; size <= log.size(); ++size) {
      const auto part = RecogniseLog(log.substr(0, size));
      EXPECT_TRUE(!part || part->type == whole->type) << size;
    }
  }
}

TEST(FirstLine, PassesOverBlankLines) {
  EXPECT_EQ(FirstLine("\r\n  \nfirst\nsecond\n"), "first");
  EXPECT_EQ(FirstLine("\n\n"), "");
}

}  // namespace
}  // namespace vantry
