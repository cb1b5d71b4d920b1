#include "import/nginx.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "import/sample_line.h"
#include "support/memory_tree.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class NginxTest : public ::testing::Test {
 protected:
  static constexpr const char* kMain = "/etc/nginx/nginx.conf";
  std::vector<FoundSite>& Find(const std::string& main) {
    tree_.files[kMain] = main;
    found_ = {};
    EXPECT_TRUE(FindNginxSites(tree_, kMain, "machine", found_));
    return found_.sites;
  }
  // The one site of a configuration whose only server has these directives.
  FoundSite One(const std::string& directives, const std::string& http = "") {
    const auto& sites = Find("http {\n" + http + "\nserver { server_name a.example;\n" + directives + "\n}\n}\n");
    return sites.size() == 1 ? sites[0] : FoundSite{};
  }

  MemoryTree tree_;
  FoundSites found_;
};

TEST_F(NginxTest, ALevelWithoutLogsHasThoseOfTheLevelAroundIt) {
  const auto& sites = Find(R"(
http {
  access_log /logs/all.log;
  server { server_name a.example www.a.example; }
  server { server_name b.example; access_log /logs/b.log combined; }
  server { server_name c.example; access_log off; location /shop { access_log /logs/shop.log; } }
}
)");
  ASSERT_EQ(sites.size(), 4u);
  EXPECT_EQ(sites[0].domain, "a.example");
  EXPECT_EQ(sites[0].log, "/logs/all.log");
  EXPECT_EQ(sites[0].where, "/etc/nginx/nginx.conf:3");
  EXPECT_EQ(sites[1].log, "/logs/b.log");
  EXPECT_EQ(sites[2].problem, "its access_log is off");
  EXPECT_EQ(sites[2].advice,
            "write into the server's block (/etc/nginx/nginx.conf:6): access_log "
            "/var/log/nginx/c.example.access.log combined;");
  EXPECT_EQ(sites[3].domain, "c.example/shop");
  EXPECT_EQ(sites[3].log, "/logs/shop.log");
}

TEST_F(NginxTest, OneLogIsOneSiteWhoeverWritesIt) {
  const auto& sites = Find(R"(
http {
  server { server_name a.example; access_log /logs/one.log; }
  server { server_name b.example; access_log /logs/one.log; }
  server { server_name a.example; listen 443 ssl; access_log /logs/one.log; }
}
)");
  ASSERT_EQ(sites.size(), 1u);
  EXPECT_EQ(sites[0].domain, "a.example");
  EXPECT_THAT(sites[0].others, ElementsAre("b.example"));
}

TEST_F(NginxTest, WithoutAnyLineTheLogIsThatOfThePackage) {
  EXPECT_EQ(One("").log, "/var/log/nginx/access.log");
  tree_.files["/usr/local/nginx/conf/nginx.conf"] = "http { server { } }";
  FoundSites found;
  EXPECT_TRUE(FindNginxSites(tree_, "/usr/local/nginx/conf/nginx.conf", "machine", found));
  ASSERT_EQ(found.sites.size(), 1u);
  EXPECT_EQ(found.sites[0].domain, "machine");
  EXPECT_FALSE(FindNginxSites(tree_, "/nowhere/nginx.conf", "machine", found));
}

TEST_F(NginxTest, SaysWhyALogCantBeRead) {
  const struct {
    const char* directive;
    const char* problem;
  } kCases[] = {
      {"access_log off;", "its access_log is off"},
      {"access_log syslog:server=unix:/dev/log combined;", "the log is not a file: syslog:server=unix:/dev/log"},
      {"access_log /dev/stdout;", "the log is not a file: /dev/stdout"},
      {"access_log /logs/$host.log;", "the name of the log holds a variable: /logs/$host.log"},
      {"access_log /logs/a.log combined gzip=9 flush=5m;", "the log is packed by 'gzip=9'"},
      {"access_log /logs/a.log nothere;", "there is no log_format nothere"},
      {"access_log /logs/a.log combined buffer=32k if=$loggable;", ""},
  };
  for (const auto& row : kCases) EXPECT_EQ(One(row.directive).problem, row.problem) << row.directive;
  EXPECT_THAT(One("access_log /logs/a.log combined buffer=32k if=$loggable;").notes,
              ElementsAre(HasSubstr("buffer=32k"), HasSubstr("if=$loggable")));
}

TEST_F(NginxTest, ServerNamesThatAreNoneFallBack) {
  const struct {
    const char* names;
    const char* domain;
  } kCases[] = {
      {"_", "machine"},
      {"\"\"", "machine"},
      {"~^(www\\.)?(.+)$", "machine"},
      {"*.b.example", "b.example"},
      {".b.example", "b.example"},
      {"_ www.b.example", "www.b.example"},
      {"$hostname", "machine"},
  };
  for (const auto& row : kCases) {
    const auto& sites = Find(std::string("http { server { access_log /l; server_name ") + row.names + "; } }");
    ASSERT_EQ(sites.size(), 1u) << row.names;
    EXPECT_EQ(sites[0].domain, row.domain) << row.names;
  }
}

TEST_F(NginxTest, FormatsMayStandAfterTheirUseAndInPieces) {
  const FoundSite site = One("access_log /logs/a.log main;",
                             "include more.conf;\nlog_format main escape=default '$remote_addr - $remote_user "
                             "[$time_local] \"$request\" '\n '$status $body_bytes_sent';");
  EXPECT_EQ(site.sample, "192.0.2.7 - - [05/Mar/2026:12:34:56 +0000] \"GET /sample/page.html HTTP/1.1\" 200 2326");
  EXPECT_EQ(found_.problems.size(), 1u);
  EXPECT_THAT(found_.problems[0], HasSubstr("/etc/nginx/nginx.conf:2: /etc/nginx/more.conf"));
}

TEST_F(NginxTest, IncludesAreRelativeToTheFolderAndMayHaveWildcardsAnywhere) {
  tree_.files["/etc/nginx/sites/b/b.conf"] = "server { server_name b.example; access_log /logs/b.log; }";
  tree_.files["/etc/nginx/sites/c/c.conf"] = "server { server_name c.example; access_log /logs/c.log; }";
  tree_.files["/etc/nginx/sites/c/.hidden.conf"] = "server { server_name d.example; access_log /logs/d.log; }";
  const auto& sites = Find("http { include sites/*/*.conf; include nothing/*.conf; }");
  ASSERT_EQ(sites.size(), 2u);
  EXPECT_EQ(sites[0].domain, "b.example");
  EXPECT_EQ(sites[1].where, "/etc/nginx/sites/c/c.conf:1");
  EXPECT_THAT(found_.problems, IsEmpty());
}

TEST_F(NginxTest, AConfigurationThatIncludesItselfEnds) {
  const auto& sites = Find("http { server { server_name a.example; access_log /l; } include /etc/nginx/*.conf; }");
  EXPECT_EQ(sites.size(), 1u);  // Inside of "http" the file has no servers.
  EXPECT_FALSE(found_.problems.empty());
}

TEST_F(NginxTest, ABombOfIncludesEnds) {
  // Each file includes the next one three times.
  for (int i = 0; i < 20; ++i) {
    std::string& file = tree_.files["/etc/nginx/bomb" + std::to_string(i)];
    for (int k = 0; k < 3; ++k) file += "include bomb" + std::to_string(i + 1) + ";\n";
  }
  Find("http { include bomb0; }");
  EXPECT_LE(found_.problems.size(), 100u);
  EXPECT_THAT(found_.problems[0], HasSubstr("/etc/nginx/bomb14:1: includes /etc/nginx/bomb15, 16 files deep"));
}

TEST_F(NginxTest, BlocksThatAreTooDeepOrNotClosedEnd) {
  std::string deep = "http { server { ";
  for (int i = 0; i < 10'000; ++i) deep += "location / { ";
  Find(deep);
  EXPECT_FALSE(found_.problems.empty());
  Find("http { server { server_name");
  EXPECT_THAT(found_.problems, ElementsAre("/etc/nginx/nginx.conf:1: 'server_name' has no end"));
}

TEST_F(NginxTest, StreamsAndProgramsAreNotTakenForSites) {
  const auto& sites = Find(R"(
stream { server { listen 12345; access_log /logs/stream.log; } }
http {
  server {
    server_name a.example;  # server { server_name comment.example; }
    access_log "/logs/a b.log" combined;
    location ~ \.php$ { access_log /logs/php.log; }
    content_by_lua_block { if x then local t = { 1 } end }
    set $a "quoted ; { } \" text";
  }
}
)");
  ASSERT_EQ(sites.size(), 1u);
  EXPECT_EQ(sites[0].log, "/logs/a b.log");
  EXPECT_THAT(found_.problems, ElementsAre("/etc/nginx/nginx.conf:7: the log of a part of a.example is left out"));
}

TEST(NginxSample, PutsValuesInPlaceOfVariables) {
  EXPECT_EQ(NginxSample("$remote_addr ${status}x $nothing $"), "192.0.2.7 200x - -");
  EXPECT_EQ(NginxSample("${"), "-");
  EXPECT_EQ(NginxSample(""), "");
}

}  // namespace
}  // namespace vantry
