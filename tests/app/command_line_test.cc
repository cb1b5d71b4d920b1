#include "app/command_line.h"

#include <gtest/gtest.h>

#include "core/text.h"

namespace vantry {
namespace {

TEST(CommandLineOfVantry, WordsAreText) {
  EXPECT_EQ(ReadCommandLine({}, "2").text, "");
  for (const auto& words : {std::vector<std::string>{" any", "thing "}, {"-"}, {"/service"}}) {
    const CommandLine line = ReadCommandLine(words, "2");
    EXPECT_FALSE(line.exit_code);
    EXPECT_FALSE(line.text.empty());
  }
  EXPECT_EQ(ReadCommandLine({" any", "thing "}, "2").text, "ANY THING");
}

TEST(CommandLineOfVantry, AWindowCanBeDeclined) {
  EXPECT_TRUE(ReadCommandLine({"word"}, "2").window);
  const CommandLine line = ReadCommandLine({"--no-window"}, "2");
  EXPECT_FALSE(line.window);
  EXPECT_FALSE(line.exit_code);
  EXPECT_EQ(line.text, "");
}

TEST(CommandLineOfVantry, OptionsAreAnsweredOrRefused) {
  EXPECT_EQ(ReadCommandLine({"--version"}, "2.0.000").answer, "Vantry 2.0.000\n");
  EXPECT_EQ(ReadCommandLine({"--version"}, "2.0.000").exit_code, 0);
  for (const char* help : {"--help", "-h"}) {
    const CommandLine line = ReadCommandLine({"word", help}, "2");
    EXPECT_EQ(line.exit_code, 0);
    EXPECT_TRUE(StartsWith(line.answer, "Usage: vantry"));
  }
  for (const char* odd : {"--port=1", "-v", "--"}) {
    const CommandLine line = ReadCommandLine({odd}, "2");
    EXPECT_EQ(line.exit_code, 2);
    EXPECT_TRUE(StartsWith(line.answer, "vantry: there is no option '" + std::string(odd) + "'")) << line.answer;
  }
}

}  // namespace
}  // namespace vantry
