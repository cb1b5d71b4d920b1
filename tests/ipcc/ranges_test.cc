#include "ipcc/ranges.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

// "first-last CODE; ..." of what was read.
std::string Show(const RangeText& text) {
  std::string shown;
  for (const CountryRange& range : text.ranges) {
    if (!shown.empty()) shown += "; ";
    shown += std::to_string(range.first) + "-" + std::to_string(range.last) + " " + range.code[0] + range.code[1];
  }
  return shown;
}

// What is said about the line, which is not the first, so that it can't pass for a header.
std::string ProblemOf(const std::string& line) {
  const RangeText text = ParseRanges("1,2,AU\n" + line + "\n3,4,CN\n");
  EXPECT_EQ(Show(text), "1-2 AU; 3-4 CN") << line;
  EXPECT_EQ(text.bad_count, 1u) << line;
  EXPECT_EQ(text.ipv6_count, 0u) << line;
  if (text.bad_lines.size() != 1) return "<none>";
  EXPECT_EQ(text.bad_lines[0].number, 2u) << line;
  return text.bad_lines[0].what;
}

TEST(ParseRanges, ReadsALine) {
  const struct {
    const char *line, *range;
  } cases[] = {
      {"16777216,16777471,AU", "16777216-16777471 AU"},
      {"1.0.0.0,1.0.0.255,AU", "16777216-16777471 AU"},
      {"001.000.000.000,001.000.000.255,AU", "16777216-16777471 AU"},
      {"010.011.012.013,10.11.12.13,AU", "168496141-168496141 AU"},
      {"16777216,1.0.0.255,AU", "16777216-16777471 AU"},
      {"0,4294967295,AU", "0-4294967295 AU"},
      {"0.0.0.0,255.255.255.255,AU", "0-4294967295 AU"},
      {"7,7,AU", "7-7 AU"},
      {"0000000000000000000000007,8,AU", "7-8 AU"},
      {"\"1\",\"2\",\"AU\"", "1-2 AU"},
      {" \t1 , 2\t,\t AU \t", "1-2 AU"},
      {"  \" 1 \"  ,\t\"2\"\t, \" AU\" ", "1-2 AU"},
      {"1,2,AU,APNIC,\"Australia, all of it\",x", "1-2 AU"},
      {"1,2,AU,\"never closed", "1-2 AU"},
      {"1,2,AU,", "1-2 AU"},
      {"1,2,au", "1-2 AU"},
      {"1,2,a1", "1-2 A1"},
      {"1,2,09", "1-2 09"},
      {"1,2,?? ", "1-2   "},
      {"1,2,-", "1-2   "},
      {"1,2,", "1-2   "},
      {"1,2,\"\"", "1-2   "},
      {"1,2,ZZ", "1-2   "},
      {"1,2,zZ", "1-2   "},
      {"1,2,ZZ,more", "1-2   "},
  };
  for (const auto& c : cases) {
    const RangeText text = ParseRanges(c.line);
    EXPECT_EQ(Show(text), c.range) << c.line;
    EXPECT_EQ(text.bad_count + text.ipv6_count, 0u) << c.line;
  }
}

TEST(ParseRanges, NamesWhatIsWrong) {
  const std::string digits(30, '9');
  const struct {
    std::string line, what;
  } cases[] = {
      {"5,4,AU", "the last address '4' lies below the first, '5'"},
      {"1.0.0.1,1.0.0.0,AU", "the last address '1.0.0.0' lies below the first, '1.0.0.1'"},
      {"1,4294967296,AU", "'4294967296' is too large for an address"},
      {"18446744073709551617,2,AU", "'18446744073709551617' is too large for an address"},
      {digits + ",2,AU", "'" + digits + "' is too large for an address"},
      {"-5,2,AU", "'-5' is no address"},
      {"+1,2,AU", "'+1' is no address"},
      {"1,,AU", "'' is no address"},
      {",2,AU", "'' is no address"},
      {"1,2.5,AU", "'2.5' is no address"},
      {"1,1e3,AU", "'1e3' is no address"},
      {"1 2,3,AU", "'1 2' is no address"},
      {"1.0.0.256,2,AU", "'1.0.0.256' is no address"},
      {"1.0.0,2,AU", "'1.0.0' is no address"},
      {"1.0.0.0.0,2,AU", "'1.0.0.0.0' is no address"},
      {"1..0.0,2,AU", "'1..0.0' is no address"},
      {"1.0.0.,2,AU", "'1.0.0.' is no address"},
      {"1.0.0.0001,2,AU", "'1.0.0.0001' is no address"},
      {"1.0.0.-1,2,AU", "'1.0.0.-1' is no address"},
      {"1.0.0.0/24,2,AU", "'1.0.0.0/24' is no address"},
      {"1,2,AUS", "'AUS' is no country code"},
      {"1,2,A", "'A' is no country code"},
      {"1,2,A?", "'A?' is no country code"},
      {"1,2,?", "'?' is no country code"},
      {"1,2,A U", "'A U' is no country code"},
      {"1,2,\xC3\xA4", "'\?\?' is no country code"},
      {"1", "a first address, a last address and a country code are needed"},
      {"1,2", "a first address, a last address and a country code are needed"},
      {"\"1,2,AU\"", "a first address, a last address and a country code are needed"},
      {"\"1,2,AU", "a quotation mark is not closed or has text behind it"},
      {"1,\"2\"3,AU", "a quotation mark is not closed or has text behind it"},
      {"1,2,\"AU\" x", "a quotation mark is not closed or has text behind it"},
      {"1,2,\"A\"\"U", "a quotation mark is not closed or has text behind it"},
      {"1,2,\"A\"\"\"", "'A\"\"' is no country code"},
      {"1,2,\"", "a quotation mark is not closed or has text behind it"},
      {"1,\"2,3\",AU", "'2,3' is no address"},
      {"2001:db8::,2,AU", "one address is IPv4 and the other is IPv6"},
      {"2001:db8::,2001:xyz::,AU", "'2001:xyz::' is no address"},
      {"first,last,code", "'first' is no address"},
  };
  for (const auto& c : cases) EXPECT_EQ(ProblemOf(c.line), c.what) << c.line;
}

TEST(ParseRanges, KnowsTheEndsOfLines) {
  for (const char* text : {"1,2,AU\n3,4,CN\n", "1,2,AU\r\n3,4,CN\r\n", "1,2,AU\n3,4,CN", "\r\n1,2,AU\r\n\n\n3,4,CN\r",
                           "# 9,9,XX\n1,2,AU\n  # 9,9,XX\n \t \n3,4,CN\n#",
                           "\xEF\xBB\xBF"
                           "1,2,AU\n3,4,CN\n"}) {
    const RangeText read = ParseRanges(text);
    EXPECT_EQ(Show(read), "1-2 AU; 3-4 CN") << text;
    EXPECT_EQ(read.bad_count, 0u) << text;
  }
  for (const char* text : {"", "\n", "\r\n\r\n", "# comment", "#\n#\n", "\xEF\xBB\xBF"}) {
    const RangeText read = ParseRanges(text);
    EXPECT_TRUE(read.ranges.empty() && read.bad_lines.empty()) << text;
  }
}

TEST(ParseRanges, PassesOverAHeader) {
  for (const char* header : {"first,last,code", "ip_from,ip_to,country_code,country_name", "\"start\",\"end\",\"cc\"",
                             "ranges", "IPv4 from,IPv4 to,code", "from:,to:,code"}) {
    const RangeText read = ParseRanges(std::string("# who made it\n\n") + header + "\r\n1,2,AU\r\n");
    EXPECT_EQ(Show(read), "1-2 AU") << header;
    EXPECT_EQ(read.bad_count, 0u) << header;
  }
}

TEST(ParseRanges, TakesNoWrongFirstLineForAHeader) {
  for (const char* first : {"5,4,AU", "99999999999,1,AU", "-5,1,AU", "1.0.0,1.0.1,AU", "AU,1.0.0.0,1.0.0.255",
                            "1.0.0.0/24,AU", "1,2", "\"unclosed"}) {
    const RangeText read = ParseRanges(std::string(first) + "\n1,2,AU\n");
    EXPECT_EQ(Show(read), "1-2 AU") << first;
    ASSERT_EQ(read.bad_lines.size(), 1u) << first;
    EXPECT_EQ(read.bad_lines[0].number, 1u) << first;
  }
  EXPECT_EQ(ParseRanges("first,last,code\nfirst,last,code\n").bad_count, 1u);
}

TEST(ParseRanges, CountsIPv6) {
  const RangeText read =
      ParseRanges("2001:200::,2001:200:ffff:ffff:ffff:ffff:ffff:ffff,JP\n1,2,AU\n::,::ffff:1.2.3.4,XYZ\n");
  EXPECT_EQ(Show(read), "1-2 AU");
  EXPECT_EQ(read.ipv6_count, 2u);
  EXPECT_EQ(read.bad_count, 0u);
}

TEST(ParseRanges, KeepsTheFirstBadLinesAndCountsAll) {
  std::string text = "# a comment counts as a line\n1,2,AU\n";
  for (int i = 0; i < 154; ++i) text += "2,1,AU\n";
  const RangeText read = ParseRanges(text + "3,4,CN\n");
  EXPECT_EQ(Show(read), "1-2 AU; 3-4 CN");
  EXPECT_EQ(read.bad_count, 154u);
  ASSERT_EQ(read.bad_lines.size(), kMaxBadLinesKept);
  EXPECT_EQ(read.bad_lines.front().number, 3u);
  EXPECT_EQ(read.bad_lines.back().number, 22u);
}

TEST(ParseRanges, StandsHostileBytes) {
  EXPECT_EQ(ProblemOf(std::string("1\0,2,AU", 7)), "'1?' is no address");
  EXPECT_EQ(ProblemOf(std::string("1,2,A\0", 6)), "'A?' is no country code");
  EXPECT_EQ(ProblemOf("1,\x1b[2J\x07\x7f\x9b,AU"), "'?[2J\?\?\?' is no address");
  EXPECT_EQ(ProblemOf("1,2\r,AU"), "'2?' is no address");

  const std::string many(1'000'000, '7');
  EXPECT_EQ(ProblemOf(many + ",2,AU"), "'" + many.substr(0, 40) + "...' is too large for an address");
  EXPECT_EQ(ProblemOf("1,2," + many), "'" + many.substr(0, 40) + "...' is no country code");
  EXPECT_EQ(ProblemOf("1" + std::string(100'000, '.') + ",2,AU"), "'1" + std::string(39, '.') + "...' is no address");
  EXPECT_EQ(ProblemOf("1,2," + std::string(100'001, '"')), "a quotation mark is not closed or has text behind it");
  EXPECT_EQ(Show(ParseRanges("1,2,AU," + std::string(1'000'000, ','))), "1-2 AU");

  std::string columns = "1,2,AU";
  for (int i = 0; i < 97; ++i) columns += ",\"column\"";
  EXPECT_EQ(Show(ParseRanges(columns + "\n3,4,CN")), "1-2 AU; 3-4 CN");
}

}  // namespace
}  // namespace vantry
