#include "scan/agent_names.h"

#include <gtest/gtest.h>

#include "support/memory_files.h"
#include "support/scan_rig.h"
#include "support/std_patterns.h"

namespace vantry {
namespace {

constexpr char kBrowsers[] =
    "# A note, which [browser] rules do not follow yet\n"
    "[browser]\n"
    "opr/\t(?:Chrome).*(OPR)/(\\d+)\tOpera\n"
    "chrome/\t(Chrome)/(\\d+)\n"
    "odd\t(Odd)\tOdd $1$1 by $9$\t7\n"
    "broken\t(Broken\tBroken\n"
    "short|long\t(Short|Long) Browser\n"
    "[system]\r\n"
    "windows\tWindows NT 6.3\tWindows\t8\t1\r\n"
    "windows\tWindows NT 10\tWindows\t10\r\n"
    "cros\t(CrOS) x (\\d+)\tChrome OS\n"
    "mac\t(Mac OS X) (\\d+)_(\\d+)\n"
    "[device]\n"
    "bot\t([A-Za-z]+[bB]ot)\tSpider\tSpider\n"
    "pixel\t(Pixel \\d)\t$1\tGoogle\n"
    "; k)\t; (K)\\)\t$1\tNobody\n";
constexpr char kSpiders[] =
    "[spider]\n"
    "goodbot\t(?:^|[^A-Za-z0-9])GoodBot(?:[^A-Za-z0-9]|$)\tGoodBot\tsearch\n"
    "goodbot-image\tGoodBot-Image\tGoodBot-Image\tpreview\n"
    "long-library\tlong-library\tlong-library-name\tprogram\n";

struct AgentNamesTest : ::testing::Test {
  StdPatterns patterns;
  AgentRules Rules() {
    AgentRules rules;
    EXPECT_EQ(ParseAgentRules(kBrowsers, rules), 12U);
    EXPECT_EQ(ParseAgentRules(kSpiders, rules), 3U);
    return rules;
  }
  AgentNames names{patterns, Rules()};
  std::string Browser(std::string_view agent) { return names.NameOf(agent).browser; }
  std::string Spider(std::string_view agent) { return names.NameOf(agent).spider; }
};

TEST_F(AgentNamesTest, BrowserTextIsOfTheFirstRulesThatFit) {
  EXPECT_EQ(Browser("X (Windows NT 10.0) Chrome/130.0 OPR/114"), "Opera 114 on Windows 10");
  EXPECT_EQ(Browser("X (Windows NT 10.0) Chrome/130.0"), "Chrome 130 on Windows 10");
  EXPECT_EQ(Browser("X (Windows NT 6.3) Chrome/109.0"), "Chrome 109 on Windows 8.1");
  EXPECT_EQ(Browser("X (CrOS x 14541) Chrome/130.0"), "Chrome 130 on Chrome OS");
  EXPECT_EQ(Browser("X (Mac OS X 10_15) Chrome/130.0"), "Chrome 130 on macOS");
  EXPECT_EQ(Browser("X (Linux; Pixel 7) Chrome/130.0"), "Chrome 130, Pixel 7");
  EXPECT_EQ(Browser("X (Linux; K) Chrome/130.0"), "Chrome 130");
  EXPECT_EQ(Browser("A Long Browser"), "Long");
  EXPECT_EQ(Browser("Odd"), "Odd OddOdd by $ 7");
}

TEST_F(AgentNamesTest, UnknownAgentShowsItsFirstWord) {
  EXPECT_EQ(Browser("MyApp/1.2 (x y)"), "MyApp/1.2");
  EXPECT_EQ(Browser("-"), "-");
  EXPECT_EQ(Browser(""), "");
  EXPECT_EQ(Browser("Broken (Broken"), "Broken");  // An expression that can't be compiled fits nothing.
  EXPECT_EQ(Browser(std::string(400, 'x')), std::string(30, 'x'));
  EXPECT_EQ(Browser("Vantry V2 Touch"), "VT");
}

TEST_F(AgentNamesTest, PlusesStandForBlanksAndQuotesForNothing) {
  EXPECT_EQ(Browser("X+(Windows+NT+10.0)+Chrome/130.0"), "Chrome 130 on Windows 10");
  EXPECT_EQ(Browser("\"Y/5.0"), "Y/5.0");
}

TEST_F(AgentNamesTest, SpidersAreWholeTokensAndTheLongestNameWins) {
  EXPECT_EQ(Spider("Mozilla/5.0 (compatible; GoodBot/2.1; +http://x/bot.html)"), "GoodBot (search)");
  EXPECT_EQ(Spider("GoodBot-Image/1.0"), "GoodBot-Image (preview)");
  EXPECT_EQ(Spider("long-library/3 GoodBot"), "GoodBot (search)");
  EXPECT_EQ(Spider("long-library/3"), "long-library-name (program)");
  EXPECT_EQ(Browser("GoodBot-Image/1.0"), "GoodBot-Image");
  // Nothing of the list, and yet no browser.
  EXPECT_EQ(Spider("VeryGoodBot/1"), "VeryGoodBot/1 (robot)");
  EXPECT_EQ(Spider("X (Windows NT 10.0) Chrome/130.0"), "");
}

TEST_F(AgentNamesTest, EachAgentIsWorkedOutOnceAndMemoryIsBounded) {
  const AgentName first = names.NameOf("X (Windows NT 10.0) Chrome/130.0");
  const int compiled = patterns.compiled;
  EXPECT_LT(compiled, 15);  // What no text has a word of is not even compiled.
  EXPECT_EQ(names.NameOf("X (Windows NT 10.0) Chrome/130.0").browser, first.browser);
  EXPECT_EQ(patterns.compiled, compiled);
  for (size_t i = 0; i < 3 * AgentNames::kRemembered; ++i) {
    ASSERT_EQ(Browser("Agent" + std::to_string(i)), "Agent" + std::to_string(i));
  }
  EXPECT_EQ(names.NameOf("X (Windows NT 10.0) Chrome/130.0").browser, first.browser);
  // What follows the most that is looked at makes no other agent.
  const std::string most(AgentNames::kMostBytes, ' ');
  EXPECT_EQ(&names.NameOf(most + "a"), &names.NameOf(most + "b"));
}

TEST(AgentRules, MissingAndEmptyListsAreNamed) {
  MemoryFiles files;
  AgentRules rules;
  EXPECT_EQ(ReadAgentRules(files, {"/a/", "/b/"}, rules).text, "Browsers.txt is missing; looked for in /a/ and /b/");
  files.Put("/b/Browsers.txt", kBrowsers);
  EXPECT_EQ(ReadAgentRules(files, {"/a/", "/b/"}, rules).text, "Spiders.txt is missing; looked for in /a/ and /b/");
  files.Put("/a/Spiders.txt", "nothing\n[other]\nx\ty\n");
  EXPECT_EQ(ReadAgentRules(files, {"/a/", "/b/"}, rules).text, "/a/Spiders.txt holds no rule");
  files.Put("/a/Spiders.txt", kSpiders);
  EXPECT_TRUE(ReadAgentRules(files, {"/a/", "/b/"}, rules).ok());
}

struct TodaysScan : AgentNamesTest {
  ScanRig rig;
  TodaysScan() {
    rig.AddSite();
    rig.Ready();
  }
  void Visit(const std::string& ip, const std::string& agent, const std::string& page = "/a.htm") {
    rig.Line(ScanRig::Ncsa(ip, "11:00:00", page, 200, "-", agent));
  }
};

TEST_F(TodaysScan, ClassicAndCorrectedNames) {
  Visit("10.0.0.1", "Mozilla+GoodBot/1");
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Browser, "Mozilla+GoodBot/1");
  EXPECT_FALSE(rig.Visitor("10.0.0.1")->IsSpider);

  rig.context.agents = &names;
  Visit("10.0.0.2", "Mozilla+GoodBot/1");
  EXPECT_EQ(rig.Visitor("10.0.0.2")->Browser, "GoodBot");
  EXPECT_EQ(rig.Visitor("10.0.0.2")->SpiderName, "GoodBot (search)");
  Visit("10.0.0.3", "X+(Windows+NT+10)+Chrome/130");
  EXPECT_EQ(rig.Visitor("10.0.0.3")->Browser, "Chrome 130 on Windows 10");
  EXPECT_FALSE(rig.Visitor("10.0.0.3")->IsSpider);
  Visit("10.0.0.4", "Vantry");
  EXPECT_EQ(rig.Visitor("10.0.0.4"), nullptr);
  // What asks for robots.txt under a name that no list knows is learnt as ever.
  Visit("10.0.0.5", "Looker/1", "/robots.txt");
  EXPECT_EQ(rig.Visitor("10.0.0.5")->SpiderName, "Unknown");
  EXPECT_EQ(rig.exceptions.Count(902), 1);
}

}  // namespace
}  // namespace vantry
