// The lists that come with the program, with the engine that searches by them: real agents of today.
#include <gtest/gtest.h>

#include "platform/posix_files.h"
#include "platform/re2_patterns.h"
#include "scan/agent_names.h"

namespace vantry {
namespace {

struct TodaysAgents : ::testing::Test {
  Re2Patterns patterns;
  AgentRules rules;
  void SetUp() override {
    if (!patterns.Problem().empty()) GTEST_SKIP() << patterns.Problem();
    PosixFiles files;
    const Status status = ReadAgentRules(files, {VANTRY_TEST_DATA "/../../data/"}, rules);
    ASSERT_TRUE(status.ok()) << status.text;
  }
};

struct AgentRow {
  const char *agent, *browser, *spider;
};

constexpr AgentRow kAgents[] = {
    {"Mozilla/5.0 (Windows NT 10.0; Win64; x64; rv:131.0) Gecko/20100101 Firefox/131.0", "Firefox 131 on Windows 10",
     ""},
    {"Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36",
     "Chrome 130 on Windows 10", ""},
    {"Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36 "
     "Edg/130.0.0.0",
     "Edge 130 on Windows 10", ""},
    {"Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/129.0.0.0 Safari/537.36 "
     "OPR/114.0.0.0",
     "Opera 114 on Windows 10", ""},
    {"Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/128.0.0.0 Safari/537.36 "
     "Vivaldi/6.9.3447.37",
     "Vivaldi 6 on Windows 10", ""},
    {"Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/128.0.0.0 "
     "YaBrowser/24.10.0.0 Safari/537.36",
     "Yandex Browser 24 on Windows 10", ""},
    {"Mozilla/5.0 (Windows NT 10.0; WOW64; Trident/7.0; rv:11.0) like Gecko", "IE 11 on Windows 10", ""},
    {"Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6 "
     "Safari/605.1.15",
     "Safari 17 on macOS", ""},
    {"Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 "
     "Safari/537.36",
     "Chrome 130 on macOS", ""},
    {"Mozilla/5.0 (Macintosh; Intel Mac OS X 10.15; rv:132.0) Gecko/20100101 Firefox/132.0", "Firefox 132 on macOS",
     ""},
    {"Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0", "Firefox 128 on Linux", ""},
    {"Mozilla/5.0 (X11; Ubuntu; Linux x86_64; rv:131.0) Gecko/20100101 Firefox/131.0", "Firefox 131 on Ubuntu", ""},
    {"Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36",
     "Chrome 130 on Linux", ""},
    {"Mozilla/5.0 (X11; CrOS x86_64 14541.0.0) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36",
     "Chrome 130 on Chrome OS", ""},
    {"Mozilla/5.0 (Windows NT 6.3; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/109.0.0.0 Safari/537.36",
     "Chrome 109 on Windows 8.1", ""},
    {"Mozilla/5.0 (Linux; Android 10; K) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Mobile Safari/537.36",
     "Chrome Mobile 130 on Android 10", ""},
    {"Mozilla/5.0 (Linux; Android 14; Pixel 7) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Mobile "
     "Safari/537.36",
     "Chrome Mobile 130 on Android 14, Pixel 7", ""},
    {"Mozilla/5.0 (Linux; Android 14; SM-S918B) AppleWebKit/537.36 (KHTML, like Gecko) SamsungBrowser/26.0 "
     "Chrome/122.0.0.0 Mobile Safari/537.36",
     "Samsung Internet 26 on Android 14, Samsung SM-S918B", ""},
    {"Mozilla/5.0 (Android 14; Mobile; rv:131.0) Gecko/131.0 Firefox/131.0", "Firefox Mobile 131 on Android 14", ""},
    {"Mozilla/5.0 (Linux; Android 13; SM-A536B) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/129.0.0.0 Mobile "
     "Safari/537.36 EdgA/129.0.0.0",
     "Edge Mobile 129 on Android 13, Samsung SM-A536B", ""},
    {"Mozilla/5.0 (Linux; Android 12; M2102J20SG) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/128.0.0.0 Mobile "
     "Safari/537.36 OPR/85.0.0.0",
     "Opera Mobile 85 on Android 12", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 17_6_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6 "
     "Mobile/15E148 Safari/604.1",
     "Mobile Safari 17 on iOS 17, iPhone", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 18_0 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) "
     "CriOS/130.0.6723.37 Mobile/15E148 Safari/604.1",
     "Chrome Mobile iOS 130 on iOS 18, iPhone", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 17_5 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) FxiOS/131.0 "
     "Mobile/15E148 Safari/605.1.15",
     "Firefox iOS 131 on iOS 17, iPhone", ""},
    {"Mozilla/5.0 (iPad; CPU OS 17_6 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6 "
     "Mobile/15E148 Safari/604.1",
     "Mobile Safari 17 on iOS 17, iPad", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 17_6 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6 "
     "Mobile/15E148 DuckDuckGo/7 Safari/605.1.15",
     "DuckDuckGo Mobile 7 on iOS 17, iPhone", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 17_6_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Mobile/21G93 "
     "[FBAN/FBIOS;FBAV/485.0.0.44.107;FBBV/652319000;FBDV/iPhone14,7;FBMD/iPhone;FBSN/iOS;FBSV/17.6.1;FBSS/3;FBID/"
     "phone;FBLC/de_DE;FBOP/5]",
     "Facebook 485 on iOS 17, iPhone", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 17_6_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Mobile/15E148 "
     "Instagram 353.0.0.28.109 (iPhone14,5; iOS 17_6_1; de_DE; de; scale=3.00; 1170x2532; 651234567)",
     "Instagram 353 on iOS 17, iPhone", ""},
    {"Mozilla/5.0 (Linux; Android 14; SM-G991B Build/UP1A.231005.007; wv) AppleWebKit/537.36 (KHTML, like Gecko) "
     "Version/4.0 Chrome/130.0.6723.58 Mobile Safari/537.36 [FB_IAB/FB4A;FBAV/486.0.0.66.70;]",
     "Facebook 486 on Android 14, Samsung SM-G991B", ""},
    {"Mozilla/5.0 (Linux; Android 13; Pixel 6a Build/TQ3A.230805.001; wv) AppleWebKit/537.36 (KHTML, like Gecko) "
     "Version/4.0 Chrome/129.0.6668.100 Mobile Safari/537.36",
     "Chrome Mobile WebView 129 on Android 13, Pixel 6a", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 17_6_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) "
     "GSA/337.0.683412497 Mobile/15E148 Safari/604.1",
     "Google 337 on iOS 17, iPhone", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 16_7 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Mobile/15E148 "
     "[LinkedInApp]/9.29.6312",
     "Mobile Safari UI/WKWebView on iOS 16, iPhone", ""},
    {"Mozilla/5.0 (iPhone; CPU iPhone OS 17_5 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Mobile/15E148 "
     "[Pinterest/iOS]",
     "Pinterest on iOS 17, iPhone", ""},
    {"Mozilla/5.0 (PlayStation; PlayStation 5/9.00) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/13.0 "
     "Safari/605.1.15",
     "Safari 13, PlayStation 5", ""},
    {"Mozilla/5.0 (SMART-TV; LINUX; Tizen 6.0) AppleWebKit/537.36 (KHTML, like Gecko) Version/6.0 TV Safari/537.36",
     "Safari 6 on Tizen 6, Samsung SMART-TV", ""},
    {"Mozilla/5.0 (compatible; Googlebot/2.1; +http://www.google.com/bot.html)", "Googlebot", "Googlebot (search)"},
    {"Mozilla/5.0 (Linux; Android 6.0.1; Nexus 5X Build/MMB29P) AppleWebKit/537.36 (KHTML, like Gecko) "
     "Chrome/130.0.6723.58 Mobile Safari/537.36 (compatible; Googlebot/2.1; +http://www.google.com/bot.html)",
     "Googlebot", "Googlebot (search)"},
    {"Googlebot-Image/1.0", "Googlebot-Image", "Googlebot-Image (search)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; bingbot/2.0; +http://www.bing.com/bingbot.htm) "
     "Chrome/116.0.1938.76 Safari/537.36",
     "bingbot", "bingbot (search)"},
    {"Mozilla/5.0 (compatible; YandexBot/3.0; +http://yandex.com/bots)", "YandexBot", "YandexBot (search)"},
    {"Mozilla/5.0 (compatible; Baiduspider/2.0; +http://www.baidu.com/search/spider.html)", "Baiduspider",
     "Baiduspider (search)"},
    {"DuckDuckBot/1.1; (+http://duckduckgo.com/duckduckbot.html)", "DuckDuckBot", "DuckDuckBot (search)"},
    {"Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_5) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/13.1.1 "
     "Safari/605.1.15 (Applebot/0.1; +http://www.apple.com/go/applebot)",
     "Applebot", "Applebot (search)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; GPTBot/1.2; +https://openai.com/gptbot)", "GPTBot",
     "GPTBot (AI)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko); compatible; ChatGPT-User/1.0; +https://openai.com/bot",
     "ChatGPT-User", "ChatGPT-User (assistant)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko); compatible; OAI-SearchBot/1.0; +https://openai.com/searchbot",
     "OAI-SearchBot", "OAI-SearchBot (AI)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; ClaudeBot/1.0; +claudebot@anthropic.com)",
     "ClaudeBot", "ClaudeBot (AI)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; Claude-User/1.0; +Claude-User@anthropic.com)",
     "Claude-User", "Claude-User (assistant)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; PerplexityBot/1.0; "
     "+https://perplexity.ai/perplexitybot)",
     "PerplexityBot", "PerplexityBot (AI)"},
    {"Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; Perplexity-User/1.0; "
     "+https://perplexity.ai/perplexity-user)",
     "Perplexity-User", "Perplexity-User (assistant)"},
    {"CCBot/2.0 (https://commoncrawl.org/faq/)", "CCBot", "CCBot (AI)"},
    {"Mozilla/5.0 (compatible; Bytespider; spider-feedback@bytedance.com)", "Bytespider", "Bytespider (AI)"},
    {"Mozilla/5.0 (Linux; Android 5.0) AppleWebKit/537.36 (KHTML, like Gecko) Mobile Safari/537.36 (compatible; "
     "Bytespider; spider-feedback@bytedance.com)",
     "Bytespider", "Bytespider (AI)"},
    {"meta-externalagent/1.1 (+https://developers.facebook.com/docs/sharing/webmasters/crawler)", "meta-externalagent",
     "meta-externalagent (AI)"},
    {"Mozilla/5.0 (compatible; AhrefsBot/7.0; +http://ahrefs.com/robot/)", "AhrefsBot", "AhrefsBot (SEO)"},
    {"Mozilla/5.0 (compatible; SemrushBot/7~bl; +http://www.semrush.com/bot.html)", "SEMrushBot", "SEMrushBot (SEO)"},
    {"Mozilla/5.0 (compatible; MJ12bot/v1.4.8; http://mj12bot.com/)", "MJ12bot", "MJ12bot (SEO)"},
    {"facebookexternalhit/1.1 (+http://www.facebook.com/externalhit_uatext.php)", "facebookexternalhit",
     "facebookexternalhit (preview)"},
    {"Twitterbot/1.0", "Twitterbot", "Twitterbot (preview)"},
    {"WhatsApp/2.23.20.0 A", "WhatsApp", "WhatsApp (preview)"},
    {"Slackbot-LinkExpanding 1.0 (+https://api.slack.com/robots)", "Slackbot", "Slackbot (preview)"},
    {"Mozilla/5.0 (compatible; Discordbot/2.0; +https://discordapp.com)", "Discordbot", "Discordbot (preview)"},
    {"TelegramBot (like TwitterBot)", "TelegramBot", "TelegramBot (preview)"},
    {"LinkedInBot/1.0 (compatible; Mozilla/5.0; Apache-HttpClient +http://www.linkedin.com)", "LinkedInBot",
     "LinkedInBot (preview)"},
    {"Mozilla/5.0+(compatible; UptimeRobot/2.0; http://www.uptimerobot.com/)", "UptimeRobot", "UptimeRobot (monitor)"},
    {"Pingdom.com_bot_version_1.4_(http://www.pingdom.com/)", "Pingdom", "Pingdom (monitor)"},
    {"Feedly/1.0 (+http://www.feedly.com/fetcher.html; 12 subscribers; like FeedFetcher-Google)", "Feedly",
     "Feedly (feed)"},
    {"Mozilla/5.0 (compatible; archive.org_bot +http://archive.org/details/archive.org_bot)", "archive.org_bot",
     "archive.org_bot (archive)"},
    {"curl/8.5.0", "curl", "curl (program)"},
    {"Wget/1.21.4", "Wget", "Wget (program)"},
    {"python-requests/2.32.3", "python-requests", "python-requests (program)"},
    {"Go-http-client/2.0", "Go-http-client", "Go-http-client (program)"},
    {"okhttp/4.12.0", "okhttp", "okhttp (program)"},
    {"Java/17.0.9", "Java", "Java (robot)"},
    {"Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) HeadlessChrome/130.0.0.0 Safari/537.36",
     "HeadlessChrome", "HeadlessChrome (automation)"},
    {"Mozilla/5.0 (compatible; MyNewCrawler/1.0; +http://example.org/)", "MyNewCrawler", "MyNewCrawler (robot)"},
    {"SomeBot/3.1", "SomeBot", "SomeBot (robot)"},
    {"MyApp/1.2 (iPhone; iOS 17)", "Mobile Safari UI/WKWebView on iOS, iPhone", ""},
    {"Mozilla/5.0", "Mozilla/5.0", ""},
    {"-", "-", ""},
    {"Mozilla/5.0+(Windows+NT+10.0;+Win64;+x64;+rv:131.0)+Gecko/20100101+Firefox/131.0", "Firefox 131 on Windows 10",
     ""},
    {"Mozilla/5.0 zgrab/0.x", "zgrab", "zgrab (scanner)"},
    {"Mozilla/5.0 (compatible; CensysInspect/1.1; +https://about.censys.io/)", "CensysInspect",
     "CensysInspect (scanner)"},
    {"Mozilla/5.0 (Linux; Android 13; CUBOT X70) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Mobile "
     "Safari/537.36",
     "Chrome Mobile 130 on Android 13, X70", ""},
};

TEST_F(TodaysAgents, AreToldApart) {
  AgentNames names(patterns, std::move(rules));
  for (const AgentRow& row : kAgents) {
    const AgentName& name = names.NameOf(row.agent);
    EXPECT_EQ(name.browser, row.browser) << row.agent;
    EXPECT_EQ(name.spider, row.spider) << row.agent;
  }
}

TEST_F(TodaysAgents, EveryExpressionOfTheListsCompiles) {
  EXPECT_GT(rules.browsers.size(), 300U);
  EXPECT_GT(rules.systems.size(), 150U);
  EXPECT_GT(rules.devices.size(), 600U);
  EXPECT_GT(rules.spiders.size(), 1'400U);
  for (const AgentRuleList* list : {&rules.browsers, &rules.systems, &rules.devices, &rules.spiders}) {
    for (const AgentRule& rule : *list) EXPECT_NE(patterns.Compile(rule.expression), nullptr) << rule.expression;
  }
}

// The words only save searches: without them every agent is told the same.
TEST_F(TodaysAgents, WordsLeaveNothingOut) {
  AgentRules searched;
  PosixFiles files;
  ASSERT_TRUE(ReadAgentRules(files, {VANTRY_TEST_DATA "/../../data/"}, searched).ok());
  for (AgentRuleList* list : {&searched.browsers, &searched.systems, &searched.devices, &searched.spiders}) {
    for (AgentRule& rule : *list) rule.words.clear();
  }
  AgentNames by_words(patterns, std::move(rules)), by_search(patterns, std::move(searched));
  for (const AgentRow& row : kAgents) {
    EXPECT_EQ(by_words.NameOf(row.agent).browser, by_search.NameOf(row.agent).browser) << row.agent;
    EXPECT_EQ(by_words.NameOf(row.agent).spider, by_search.NameOf(row.agent).spider) << row.agent;
  }
}

TEST(Re2Patterns, SearchesAnyBytesAndGivesGroups) {
  Re2Patterns patterns;
  if (!patterns.Problem().empty()) GTEST_SKIP() << patterns.Problem();
  EXPECT_EQ(patterns.Compile("(a"), nullptr);
  const auto pattern = patterns.Compile("(b)(x)?(.)");
  ASSERT_NE(pattern, nullptr);
  std::string_view groups[9];
  groups[1] = "old";
  EXPECT_TRUE(
      pattern->Find("\xff"
                    "b\xfe",
                    groups));
  EXPECT_EQ(groups[0], "b");
  EXPECT_EQ(groups[1], "");
  EXPECT_EQ(groups[2], "\xfe");
  EXPECT_FALSE(pattern->Find("ab", groups));
}

}  // namespace
}  // namespace vantry
