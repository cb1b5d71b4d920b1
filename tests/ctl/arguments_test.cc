#include "ctl/arguments.h"

#include <gtest/gtest.h>

#include "ctl/client.h"
#include "ctl/commands.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

TEST(ParseArguments, Misuse) {
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"fly"},
      {"--fly", "hello"},
      {"-x", "hello"},
      {"hello", "you"},
      {"list", "a", "b"},
      {"--host"},
      {"--host", "", "hello"},
      {"hello", "--port"},
      {"hello", "--port", "0"},
      {"hello", "--port", "65536"},
      {"hello", "--port", "80x"},
      {"hello", "--port="},
      {"hello", "--once"},
      {"watch", "--once=yes"},
      {"hello", "--name", "n"},
      {"add-site", "d", "--name", "n", "--domain", "d"},
      {"add-site", "d", "p"},
      {"add-site", "d", "p", "--name", "n"},
      {"add-site", "d", "p", "--name", " ", "--domain", "d"},
      {"add-site", "d", "p", "--name", "n", "--domain", "d", "--type", "6"},
      {"add-site", "d", "p", "--name", "n", "--domain", "d", "--type", ""},
      {"add-site", "d", "p", "--name", "n", "--domain", "d", "--port", "1"},
      {"add-site", "d", "p", "q", "--name", "n", "--domain", "d"},
  };
  for (const auto& words : bad) {
    CtlArguments arguments;
    const Status status = ParseArguments(words, arguments);
    EXPECT_EQ(status.fail, Fail::kBadData) << ::testing::PrintToString(words);
    EXPECT_FALSE(status.text.empty());
  }
}

TEST(ParseArguments, OptionsStandAnywhere) {
  CtlArguments a;
  ASSERT_TRUE(ParseArguments({"--port=81", "list", "--host", "h", "www.example.org"}, a).ok());
  EXPECT_EQ(a.command, CtlCommand::kList);
  EXPECT_EQ(a.port, 81);
  EXPECT_EQ(a.host, "h");
  EXPECT_EQ(a.operands, std::vector<std::string>{"www.example.org"});
}

TEST(ParseArguments, AddSite) {
  CtlArguments a;
  ASSERT_TRUE(ParseArguments({"add-site", "home", "--name", "N", "--domain=d", "--type", "2", "--", "--log"}, a).ok());
  EXPECT_EQ(a.command, CtlCommand::kAddSite);
  EXPECT_EQ(a.name, "N");
  EXPECT_EQ(a.domain, "d");
  EXPECT_EQ(a.type, LogType::kNCSA);
  EXPECT_EQ(a.operands, (std::vector<std::string>{"home", "--log"}));
}

TEST(ParseArguments, HelpNeedsNothingElse) {
  CtlArguments a, b;
  ASSERT_TRUE(ParseArguments({"--help"}, a).ok());
  EXPECT_TRUE(a.help && !a.command);
  ASSERT_TRUE(ParseArguments({"add-site", "--help"}, b).ok());
  EXPECT_TRUE(b.help);
  EXPECT_EQ(b.command, CtlCommand::kAddSite);
}

TEST(HelpText, NamesEveryCommandAndStartsEachWithItsUse) {
  const std::string all = HelpText(std::nullopt);
  const char* names[] = {"hello", "status", "pause", "continue", "stop", "list", "watch", "add-site"};
  for (int i = 0; i < 8; ++i) {
    EXPECT_NE(all.find(names[i]), std::string::npos);
    EXPECT_EQ(HelpText(static_cast<CtlCommand>(i)).rfind(std::string("Usage: vantryctl ") + names[i], 0), 0u);
  }
}

TEST(DefaultPort, ComesFromTheSettings) {
  MemoryFiles files;
  int port = 0;
  ASSERT_TRUE(DefaultPort(files, nullptr, port).ok());
  EXPECT_EQ(port, 8004);
  ASSERT_TRUE(DefaultPort(files, "/home", port).ok());
  EXPECT_EQ(port, 8004);
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nWebAccessPort= 8111\r\n\r\n");
  ASSERT_TRUE(DefaultPort(files, "/home", port).ok());
  EXPECT_EQ(port, 8111);
  files.Put("/home/SETTINGS.INI", "WebAccessPort=70000\r\n\r\n");
  EXPECT_EQ(DefaultPort(files, "/home", port).fail, Fail::kBadData);
  files.fails = [](const std::string&) { return true; };
  EXPECT_EQ(DefaultPort(files, "/home", port).fail, Fail::kIo);
}

TEST(CheckListDomain, RefusesWhatTheRequestCanNotHold) {
  EXPECT_TRUE(CheckListDomain("www.example.org").ok());
  EXPECT_TRUE(CheckListDomain("my shop").ok());
  for (const char* bad : {"", "my_shop", "a&b", "a\r\nb", "a\x1b"}) EXPECT_FALSE(CheckListDomain(bad).ok()) << bad;
}

TEST(Endpoint, NameBracketsColons) {
  EXPECT_EQ((Endpoint{"127.0.0.1", 80}.Name()), "127.0.0.1:80");
  EXPECT_EQ((Endpoint{"::1", 80}.Name()), "[::1]:80");
}

}  // namespace
}  // namespace vantry
