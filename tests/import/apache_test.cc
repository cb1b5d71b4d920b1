#include "import/apache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "import/apache_words.h"
#include "support/memory_tree.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ApacheTest : public ::testing::Test {
 protected:
  const ApachePlace place_{"/etc/apache2/apache2.conf", "/etc/apache2", "/etc/apache2/envvars"};
  std::vector<FoundSite>& Find(const std::string& main) {
    tree_.files[place_.file] = main;
    found_ = {};
    EXPECT_TRUE(FindApacheSites(tree_, place_, "machine", found_));
    return found_.sites;
  }

  MemoryTree tree_;
  FoundSites found_;
};

TEST_F(ApacheTest, HostsWithoutALogHaveThatOfTheServer) {
  tree_.files["/etc/apache2/envvars"] = "export APACHE_LOG_DIR=/var/log/apache2$SUFFIX\n";
  const auto& sites = Find(R"(LogFormat "%h %l %u %t \"%r\" %>s %O \"%{Referer}i\" \"%{User-Agent}i\"" combined
CustomLog ${APACHE_LOG_DIR}/other.log combined
<VirtualHost *:80>
  ServerName a.example
  CustomLog ${APACHE_LOG_DIR}/a.log combined
</VirtualHost>
<VirtualHost *:80>
  ServerName https://b.example:443
  ServerAlias www.b.example
</VirtualHost>
<VirtualHost *:80>
  ServerAlias *.c.example
</VirtualHost>
)");
  ASSERT_EQ(sites.size(), 2u);
  EXPECT_EQ(sites[0].domain, "a.example");
  EXPECT_EQ(sites[0].log, "/var/log/apache2/a.log");
  EXPECT_EQ(sites[0].where, "/etc/apache2/apache2.conf:5");
  EXPECT_EQ(sites[0].sample,
            "192.0.2.7 - - [05/Mar/2026:12:34:56 +0000] \"GET /sample/page.html HTTP/1.1\" 200 2326 "
            "\"https://from.example/\" \"Sample/1.0 (for a format)\"");
  EXPECT_EQ(sites[1].domain, "b.example");
  EXPECT_EQ(sites[1].log, "/var/log/apache2/other.log");
  EXPECT_THAT(sites[1].others, ElementsAre("c.example"));
  EXPECT_EQ(sites[1].advice,
            "write into the <VirtualHost> (/etc/apache2/apache2.conf:7): CustomLog "
            "${APACHE_LOG_DIR}/b.example.access.log combined");
}

TEST_F(ApacheTest, AServerWithoutHostsIsASite) {
  const auto& sites = Find("ServerRoot \"/srv/www\"\nServerName main.example\nTransferLog logs/access_log\n");
  ASSERT_EQ(sites.size(), 1u);
  EXPECT_EQ(sites[0].domain, "main.example");
  EXPECT_EQ(sites[0].log, "/srv/www/logs/access_log");
  EXPECT_THAT(sites[0].sample, HasSubstr("\" 200 2326"));
  EXPECT_EQ(Find("Listen 80\n")[0].problem, "it has no CustomLog");
  EXPECT_EQ(found_.sites[0].domain, "machine");
}

TEST_F(ApacheTest, SaysWhyALogCantBeRead) {
  const struct {
    const char* line;
    const char* problem;
  } kCases[] = {
      {"CustomLog \"|/usr/bin/rotatelogs /logs/a.%Y 86400\" common",
       "the log is not a file: |/usr/bin/rotatelogs /logs/a.%Y 86400"},
      {"CustomLog \"||/bin/x\" CLF", "the log is not a file: ||/bin/x"},
      {"CustomLog /dev/stdout CLF", "the log is not a file: /dev/stdout"},
      {"CustomLog ${NOT_SET}/a.log CLF", "the name of the log has a variable that is not set: ${NOT_SET}/a.log"},
      {"CustomLog /logs/a.log nothere", "there is no LogFormat nothere"},
      {"CustomLog /logs/a.log", "there is no LogFormat "},
      {"CustomLog /logs/a.log CLF env=!dontlog", ""},
      {"customlog /logs/a.log \"%h %l %u %t \\\"%r\\\" %>s %b\"", ""},
  };
  for (const auto& row : kCases) {
    const auto& sites = Find(std::string("LogFormat \"%h\" common\n") + row.line + "\n");
    ASSERT_EQ(sites.size(), 1u) << row.line;
    EXPECT_EQ(sites[0].problem, row.problem) << row.line;
  }
  EXPECT_THAT(Find("CustomLog /logs/a.log CLF env=!dontlog")[0].notes, ElementsAre(HasSubstr("env=!dontlog")));
}

TEST_F(ApacheTest, DefinesConditionsAndFoldersOfFiles) {
  tree_.files["/etc/apache2/sites/b.conf"] = "<VirtualHost *>\nServerName b.example\nCustomLog ${LOGS}/b.log CLF\n";
  tree_.files["/etc/apache2/sites/c.conf"] = "<VirtualHost *>\nServerName c.example\nCustomLog ${LOGS}/c.log CLF\n";
  const auto& sites = Find(R"(Define LOGS /data/logs
Define TEST
<IfDefine TEST>
  <VirtualHost *>
    ServerName a.example
    <Directory />
      Options None
    </Directory>
    CustomLog \
      ${LOGS}/a.log CLF
  </VirtualHost>
</IfDefine>
<IfDefine !TEST>
  <VirtualHost *>
    ServerName not.example
  </VirtualHost>
</IfDefine>
<IfModule !mod_nothing.c>
  Include nothing.conf
</IfModule>
<Macro Site $name>
  <VirtualHost *>
    ServerName $name
  </VirtualHost>
</Macro>
Use Site d.example
Include sites
IncludeOptional nothing-there/*.conf
IncludeOptional nothing-there.conf
Include missing.conf
)");
  ASSERT_EQ(sites.size(), 3u);
  EXPECT_EQ(sites[0].log, "/data/logs/a.log");
  EXPECT_EQ(sites[0].where, "/etc/apache2/apache2.conf:9");
  EXPECT_EQ(sites[1].domain, "b.example");
  EXPECT_EQ(sites[2].log, "/data/logs/c.log");
  EXPECT_THAT(found_.problems, ElementsAre(HasSubstr("macro"), HasSubstr("/etc/apache2/missing.conf")));
}

TEST_F(ApacheTest, AConfigurationThatIncludesItselfEnds) {
  const auto& sites = Find("<VirtualHost *>\nServerName a.example\nCustomLog /l CLF\n</VirtualHost>\nInclude *.conf\n");
  ASSERT_EQ(sites.size(), 1u);
  EXPECT_FALSE(found_.problems.empty());
  Find("Define A ${A}${A}xxxxxxxxxxxxxxxx\nInclude apache2.conf\nCustomLog ${A} CLF\n");
  Find("</VirtualHost>\n</IfModule>\n<VirtualHost\n<\n>\n\\\n");
}

TEST_F(ApacheTest, AServersNamesAndFormatsStandForItsHostsToo) {
  const auto& sites = Find(R"(ServerName main.example
<VirtualHost *>
  LogFormat "%v %h" own
  CustomLog /logs/a.log own
</VirtualHost>
<VirtualHost *>
  CustomLog /logs/b.log late
</VirtualHost>
LogFormat "%h %t" late
)");
  ASSERT_EQ(sites.size(), 2u);
  EXPECT_EQ(sites[0].domain, "main.example");
  EXPECT_EQ(sites[0].sample, "www.example.org 192.0.2.7");
  EXPECT_EQ(sites[1].sample, "192.0.2.7 [05/Mar/2026:12:34:56 +0000]");
}

TEST(ApacheSample, PutsValuesInPlaceOfDirectives) {
  const struct {
    const char* format;
    const char* line;
  } kCases[] = {
      {"%h %l %u", "192.0.2.7 - -"},
      {"%{c}a %a", "198.51.100.9 192.0.2.7"},
      {"%{%d/%b/%Y:%T %z}t", "05/Mar/2026:12:34:56 +0000"},
      {"%{begin:%d/%b/%Y}t %{sec}t", "05/Mar/2026 1772714096"},
      {"%400,501{User-agent}i %!200{referer}i", "Sample/1.0 (for a format) https://from.example/"},
      {"%>s %<s %{Foo}e %^ti%%", "200 200 - -%"},
      {"\\\"%r\\\"\\t%D", "\"GET /sample/page.html HTTP/1.1\"\t5000"},
      {"%v:%p %V", "www.example.org:443 www.example.org"},
      {"%", ""},
      {"%{never", ""},
  };
  for (const auto& row : kCases)
    EXPECT_EQ(ApacheSample(row.format).substr(0, std::string(row.line).size()), row.line) << row.format;
}

TEST(ApacheWords, ReadsWhatAStartScriptSets) {
  ApacheVariables variables;
  ReadShellVariables(
      "unset HOME\nif [ x ] ; then\n\tSUFFIX=\"-x\"\nfi\nexport A=/var/log$SUFFIX\nB=\"${A}/b\" \n#export C=c\n"
      "export D=${E:-none}x\nexport F=$\nexport G=${\n",
      variables);
  EXPECT_EQ(variables["A"], "/var/log");
  EXPECT_EQ(variables["B"].substr(0, 10), "/var/log/b");
  EXPECT_EQ(variables.count("SUFFIX"), 0u);
  EXPECT_EQ(variables.count("#export C"), 0u);
  EXPECT_EQ(variables["D"], "x");
  EXPECT_EQ(variables["F"] + variables["G"], "");
}

TEST(ApacheWords, UnknownVariablesStay) {
  const ApacheVariables variables{{"A", "x"}};
  EXPECT_EQ(WithVariables("${A}/${B}/${A", variables), "x/${B}/${A");
  EXPECT_EQ(WithVariables("${", variables), "${");
  EXPECT_EQ(WithVariables("", variables), "");
}

}  // namespace
}  // namespace vantry
