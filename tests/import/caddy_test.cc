#include "import/caddy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "import/json.h"
#include "import/sample_line.h"
#include "support/memory_tree.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class CaddyTest : public ::testing::Test {
 protected:
  static constexpr const char* kFile = "/etc/caddy/Caddyfile";
  std::vector<FoundSite>& Find(const std::string& text) {
    tree_.files[kFile] = text;
    found_ = {};
    EXPECT_TRUE(FindCaddyfileSites(tree_, kFile, "machine", found_));
    return found_.sites;
  }
  std::vector<FoundSite>& FindJson(const std::string& text) {
    tree_.files["/j.json"] = text;
    found_ = {};
    EXPECT_TRUE(FindCaddyJsonSites(tree_, "/j.json", "machine", found_));
    return found_.sites;
  }

  MemoryTree tree_;
  FoundSites found_;
};

TEST_F(CaddyTest, TellsWhatEachSiteWrites) {
  const auto& sites = Find(R"({
	email me@a.example
	log default {
		output stderr
	}
}

(logging) {
	log {
		output file /var/log/caddy/{args[0]}.log {
			roll_size 10mb
		}
		format transform "{common_log}"
	}
}

https://a.example:8443, www.a.example {
	import logging a
	root * /srv # not a log
}

b.example,
www.b.example {
	log {
		output file /var/log/caddy/b.log
	}
}

c.example {
	log
}

*.d.example {
	respond "log { }"
}
)");
  ASSERT_EQ(sites.size(), 4u);
  EXPECT_EQ(sites[0].domain, "a.example");
  EXPECT_EQ(sites[0].log, "/var/log/caddy/a.log");
  EXPECT_EQ(sites[0].problem, "");
  EXPECT_EQ(sites[1].domain, "b.example");
  EXPECT_EQ(sites[1].problem, "the log's format is Caddy's own, 'json'");
  EXPECT_EQ(sites[1].where, "/etc/caddy/Caddyfile:24");
  EXPECT_THAT(sites[1].advice, HasSubstr("(/etc/caddy/Caddyfile:24):\nformat transform `{request>remote_ip}"));
  EXPECT_EQ(sites[2].problem, "the log does not go to a file");
  EXPECT_EQ(sites[3].domain, "d.example");
  EXPECT_EQ(sites[3].problem, "it has no log");
  EXPECT_THAT(sites[3].advice, HasSubstr("log {\n    output file /var/log/caddy/d.example.access.log\n"));
  EXPECT_THAT(found_.problems, IsEmpty());
}

TEST_F(CaddyTest, WhatItAdvisesCanBeRead) {
  const std::string advice = Find("a.example {\n respond ok\n}\n")[0].advice;
  const auto& sites = Find("a.example {\n" + advice.substr(advice.find("log {")) + "\n}\n");
  ASSERT_EQ(sites.size(), 1u);
  EXPECT_EQ(sites[0].problem, "");
  const FormatOpinion opinion = JudgeSample(sites[0].sample, true);
  EXPECT_TRUE(opinion.readable && opinion.lack.empty()) << sites[0].sample << opinion.why;
}

TEST_F(CaddyTest, FormatsOfFormatsAndOlderOnes) {
  const struct {
    const char* format;
    const char* problem;
  } kCases[] = {
      {"format console", "the log's format is Caddy's own, 'console'"},
      {"format filter {\n wrap transform \"{common_log}\"\n}", ""},
      {"format filter {\n wrap json\n}", "the log's format is Caddy's own, 'json'"},
      {"format single_field common_log", ""},
      {"format my_own", "the log's format, 'my_own', is not known"},
      {"output net localhost:1", "the log does not go to a file"},
      {"output file {$LOGS}/a.log\n format transform", "the name of the log holds a variable: {$LOGS}/a.log"},
  };
  for (const auto& row : kCases) {
    const auto& sites = Find(std::string("a.example {\nlog {\noutput file /l\n") + row.format + "\n}\n}\n");
    ASSERT_EQ(sites.size(), 1u) << row.format;
    EXPECT_EQ(sites[0].problem, row.problem) << row.format;
  }
}

TEST_F(CaddyTest, AFileWithoutBlocksIsOneSite) {
  const auto& sites = Find(":80\nroot * /usr/share/caddy\nfile_server\n");
  ASSERT_EQ(sites.size(), 1u);
  EXPECT_EQ(sites[0].domain, "machine");
  EXPECT_EQ(sites[0].problem, "it has no log");
  EXPECT_THAT(Find(""), IsEmpty());
}

TEST_F(CaddyTest, ImportsFilesAndEnds) {
  tree_.files["/etc/caddy/sites/a"] = "a.example {\n log {\n output file /l/a\n }\n}\n";
  tree_.files["/etc/caddy/sites/b"] = "b.example {\n log {\n output file /l/b\n }\n}\nimport ../Caddyfile\n";
  const auto& sites = Find("import sites/*\n");
  ASSERT_GE(sites.size(), 2u);
  EXPECT_EQ(sites[0].where, "/etc/caddy/sites/a:2");
  EXPECT_FALSE(found_.problems.empty());
  // Each snippet is ten times the one before.
  std::string bomb = "(s0) {\n respond ok\n}\n";
  for (int i = 1; i < 10; ++i) {
    bomb += "(s" + std::to_string(i) + ") {\n";
    for (int k = 0; k < 10; ++k) bomb += "import s" + std::to_string(i - 1) + "\n";
    bomb += "}\n";
  }
  Find(bomb + "a.example {\nimport s9\n}\n");
  EXPECT_FALSE(found_.problems.empty());
  std::string deep;
  for (int i = 0; i < 10'000; ++i) deep += "a {\n";
  Find(deep);
  EXPECT_FALSE(found_.problems.empty());
}

TEST_F(CaddyTest, ReadsJson) {
  const auto& sites = FindJson(R"({
 "logging": {"logs": {
   "default": {"exclude": ["http.log.access.log0"]},
   "log0": {"writer": {"output": "file", "filename": "/l/a.log"}, "include": ["http.log.access.log0"]},
   "log1": {"writer": {"output": "file", "filename": "\/l\/b.log"}, "include": ["http.log.access.log1"],
            "encoder": {"format": "filter", "wrap": {"format": "transform", "template": "{common_log}"}}}}},
 "apps": {"http": {"servers": {
   "srv0": {"routes": [{"match": [{"host": ["a.example", "b.example", "c.example"]}]}],
            "logs": {"logger_names": {"a.example": "log0", "b.example": ["log1"]}}},
   "srv1": {"listen": [":80"]}}}}})");
  ASSERT_EQ(sites.size(), 3u);
  EXPECT_EQ(sites[0].domain, "a.example");
  EXPECT_EQ(sites[0].problem, "the log's format is Caddy's own, 'json'");
  EXPECT_THAT(sites[0].advice, HasSubstr("\"encoder\": {\"format\": \"transform\", \"template\": \"{common_log}\"}"));
  EXPECT_EQ(sites[1].log, "/l/b.log");
  EXPECT_EQ(sites[1].problem, "");
  EXPECT_EQ(sites[2].problem, "the log does not go to a file");
  FindJson("{\"apps\": ");
  EXPECT_THAT(found_.problems, ElementsAre("/j.json:1: is not JSON"));
}

TEST(Json, ReadsAndRefuses) {
  JsonValue value;
  EXPECT_TRUE(ParseJson(R"( {"a": ["x\u00e4\n", 1.5, true, null, {}], "a": 2} )", value));
  ASSERT_EQ(value["a"].members.size(), 5u);
  EXPECT_EQ(value["a"].members[0].value.text, "x\xc3\xa4\n");
  EXPECT_EQ(value["a"].members[1].value.text, "1.5");
  EXPECT_EQ(value["b"]["c"].text, "");
  for (const char* bad : {"", "{", "[1,]", "{\"a\"}", "\"", "\"\\x\"", "\"\\u12\"", "[1] 2", "{\"a\":}", "hello"}) {
    EXPECT_FALSE(ParseJson(bad, value)) << bad;
  }
  EXPECT_TRUE(ParseJson(std::string(60, '[') + std::string(60, ']'), value));
  EXPECT_FALSE(ParseJson(std::string(100'000, '['), value));
}

}  // namespace
}  // namespace vantry
