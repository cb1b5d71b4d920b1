#include "scan/classifier.h"

#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

struct AgentCase {
  std::string agent, expected;
};

TEST(SelectBrowser, FirstTestThatHitsDecides) {
  for (const AgentCase& c : std::vector<AgentCase>{{"Mozilla/4.0+(compatible;+MSIE+5.01;+Windows+NT)", "IE5"},
                                                   {"Mozilla/4.0 (compatible; MSIE 5.5; Windows)", "IE5"},
                                                   {"mozilla/4.0+(compatible;+msie+6.0)", "IE6"},
                                                   {"MSIE", "IE"},
                                                   {"Opera/9.80", "OP"},
                                                   {"Mozilla/4.0+(Opera)", "OP"},
                                                   {"MSProxy/2.0", "MSProxy"},
                                                   {"Mozilla/4.7+[en]", "NS4"},
                                                   {"Mozilla/5.0 (X11; Linux)", "Mozilla/5.0 (X11; Linux)"},
                                                   {"Tool (compatible; Checker; x)", "OMPATIBLE;"},
                                                   {"compatible; no end", "OMPATIBLE;"},
                                                   {"Vantry V2 Touch", "VT"},
                                                   {"-", "-"},
                                                   {"", ""},
                                                   {"Wget/1.21", "Wget/1.21"}}) {
    EXPECT_EQ(SelectBrowser(c.agent), c.expected) << c.agent;
  }
}

TEST(KnownSpider, FirstTokenOfTheTableDecides) {
  for (const AgentCase& c : std::vector<AgentCase>{{"Googlebot/2.1", "Google"},
                                                   {"Mozilla/5.0 (compatible; GoogleBot SPIDER)", "Google"},
                                                   {"Scooter/3", "AltaVista"},
                                                   {"Mercator-2", "AltaVista"},
                                                   {"Mozilla/5.0 (Slurp/cat)", "Inktomi"},
                                                   {"Mozilla/4.72 [en] (X11; U; NetBSD 1.4.2 i386; Nav)", "Inktomi"},
                                                   {"My Spider 1.0", "My Spider 1.0"},
                                                   {"crawler", "crawler"},
                                                   {"ArchitextSpider", "Excite"},
                                                   {"MiragoRobot", "Mirago"},
                                                   {"ia_archiver", "All Others"},
                                                   {"esismartspider", "esismartspider"},
                                                   {"FAST-WebCrawler", "FAST-WebCrawler"},
                                                   {"FAST-Enterprise", "All Others"},
                                                   {"Mozilla/5.0", ""},
                                                   {"", ""}}) {
    EXPECT_EQ(KnownSpider(c.agent), c.expected) << c.agent;
  }
}

TEST(Classifier, AddressDecidesAboutLearntAgents) {
  LiveTables t;
  Classifier classifier(t);
  EXPECT_EQ(classifier.SelectSpider("Looker/1", "10.0.0.1"), "");
  EXPECT_TRUE(classifier.LearnAgent("10.0.0.1", "Looker/1"));
  EXPECT_FALSE(classifier.LearnAgent("10.0.0.1", "Other/1"));
  EXPECT_EQ(classifier.SelectSpider("Anything", "10.0.0.1"), "Auto Detected");
  EXPECT_EQ(classifier.SelectSpider("Looker/1", "10.0.0.2"), "") << "a stored agent in mixed case fits no upper text";
  EXPECT_TRUE(classifier.LearnAgent("10.0.0.3", "LOOKER"));
  EXPECT_EQ(classifier.SelectSpider("looker/2", "10.0.0.2"), "Auto Detected");
  EXPECT_EQ(classifier.SelectSpider("x", "10.0.0.1"), "") << "an agent of one character is no spider";
}

TEST(Classifier, ClassicNamesAreThoseOfTheTwoChainsHoweverManyAreRemembered) {
  LiveTables t;
  Classifier classifier(t);
  const auto expect_same = [&](const std::string& agent) {
    const AgentName& name = classifier.ClassicName(agent);
    ASSERT_EQ(name.browser, SelectBrowser(agent)) << agent;
    ASSERT_EQ(name.spider, KnownSpider(agent)) << agent;
  };
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 11'000; ++i) {
      const std::string number = std::to_string(i);
      expect_same(i % 3 == 0 ? "Robot " + number : i % 3 == 1 ? "Mozilla/" + number + ".0 MSIE " + number : number);
      if (i % 100 == 0) expect_same("Mozilla/" + number + ".0");  // Met often, so it lives through the change.
    }
  }
  for (const size_t size : {511, 512, 513, 9'000}) {
    expect_same(std::string(size, 'x'));
    expect_same("Crawler " + std::string(size - 8, 'x'));
  }
}

TEST(RobotsCache, RoundTripLeavesShortAgentsOut) {
  MemoryFiles files;
  LiveTables t;
  Classifier classifier(t);
  classifier.LearnAgent("10.0.0.1", "Looker 1.0");
  classifier.LearnAgent("10.0.0.2", "ab");
  EXPECT_TRUE(WriteRobotsCache(files, "/data/", t).ok());
  EXPECT_EQ(files.Get("/data/robots.dat"), "10.0.0.1 Looker 1.0\r\n");
  LiveTables again;
  EXPECT_TRUE(ReadRobotsCache(files, "/data/", again).ok());
  ASSERT_EQ(again.UnknownAgents.size(), 1u);
  EXPECT_EQ(again.UnknownAgents[0].Agent, "Looker 1.0");
  EXPECT_FALSE(again.UnknownAgentsDirty);
  files.calls.clear();
  EXPECT_TRUE(WriteRobotsCache(files, "/data/", again).ok());
  EXPECT_TRUE(files.calls.empty()) << "nothing was learnt, nothing is written";
}

TEST(RobotsCache, IsReadItemByItem) {
  const auto pairs =
      ParseRobotsCache("1.1.1.1 One, Two 2\r\nnoblank\r\n\r\n2.2.2.2 x\r\n\"3.3.3.3 quoted, agent\"\r\n4.4.4.4 last");
  std::vector<std::string> texts;
  for (const auto& p : pairs) texts.push_back(p.IP + "|" + p.Agent);
  EXPECT_EQ(texts, (std::vector<std::string>{"1.1.1.1|One", "3.3.3.3|quoted, agent", "4.4.4.4|last"}))
      << "a comma cuts an agent; its rest 'Two 2' has an agent of one character";
}

}  // namespace
}  // namespace vantry
