#include "ipcc/builder.h"

#include <sstream>

#include <gtest/gtest.h>

#include "ipcc/country_table.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

class BuilderTest : public ::testing::Test {
 protected:
  int Run(const std::vector<std::string>& words) {
    out_.str("");
    err_.str("");
    return RunIpcc(files_, day_, words, out_, err_);
  }
  std::string Table(const std::vector<CountryRow>& rows) const { return BuildCountryTable(rows, day_); }

  const Day day_ = *MakeDay(2026, 11, 21);
  MemoryFiles files_;
  std::ostringstream out_, err_;
};

TEST_F(BuilderTest, WritesTheTable) {
  files_.Put("/geoip", "# made today\n16777216,16777471,AU\n");
  EXPECT_EQ(Run({"/geoip", "/Data/IPCC.DBF"}), 0);
  EXPECT_EQ(files_.Get("/Data/IPCC.DBF"), Table({{0, kNoCountry}, {16777216, {'A', 'U'}}, {16777472, kNoCountry}}));
  EXPECT_EQ(out_.str(),
            "/geoip: 1 range\n"
            "/Data/IPCC.DBF: 1 range read, 3 rows written, 2 gaps among them\n"
            "A Vantry that runs now reads the table at its next start.\n");
  EXPECT_EQ(err_.str(), "");
}

TEST_F(BuilderTest, TakesTheLaterFileForTheLaterLines) {
  files_.Put("/a", "0,4294967295,AU\n");
  files_.Put("/b", "0,4294967295,CN\n");
  EXPECT_EQ(Run({"/a", "/b", "/t"}), 0);
  EXPECT_EQ(files_.Get("/t"), Table({{0, {'C', 'N'}}}));
  // The table of before is written over.
  EXPECT_EQ(Run({"/b", "/a", "/t"}), 0);
  EXPECT_EQ(files_.Get("/t"), Table({{0, {'A', 'U'}}}));
}

TEST_F(BuilderTest, NamesBadLinesAndGoesOn) {
  std::string text = "0,4294967295,AU\n";
  for (int i = 0; i < 154; ++i) text += "2,1,AU\n";
  files_.Put("/a", text);
  files_.Put("/b", "1,2,C\n0,4294967295,AU\n");
  EXPECT_EQ(Run({"/a", "/b", "/t"}), 0);
  EXPECT_EQ(files_.Get("/t"), Table({{0, {'A', 'U'}}}));
  std::string expected;
  for (int line = 2; line < 22; ++line) {
    expected += "/a:" + std::to_string(line) + ": the last address '1' lies below the first, '2'\n";
  }
  EXPECT_EQ(err_.str(), expected + "/a: and 134 more\n/b:1: 'C' is no country code\n");
  EXPECT_NE(out_.str().find("/a: 1 range, 154 lines left out\n/b: 1 range, 1 line left out\n"), std::string::npos);
}

TEST_F(BuilderTest, CountsIPv6ButDoesNotUseIt) {
  files_.Put("/6", "::,::1,AU\n::2,::3,AU\n");
  files_.Put("/4", "0,4294967295,AU\n");
  EXPECT_EQ(Run({"/4", "/6", "/t"}), 0);
  EXPECT_NE(out_.str().find("/6: 2 IPv6 ranges left out, as the table holds IPv4 alone\n"), std::string::npos);
  EXPECT_EQ(Run({"/6", "/other"}), 1);
  EXPECT_EQ(files_.Get("/other"), "<none>");
}

TEST_F(BuilderTest, WritesNothingWhenAFileHasNoRange) {
  files_.Put("/good", "1,2,AU\n");
  for (const char* text : {"", "# nothing\n", "first,last,code\n", "2,1,AU\n", "\n\n"}) {
    files_.Put("/bad", text);
    files_.Put("/t", "");
    EXPECT_EQ(Run({"/good", "/bad", "/t"}), 1) << text;
    EXPECT_EQ(Run({"/bad", "/good", "/t"}), 1) << text;
    EXPECT_EQ(files_.Get("/t"), "") << text;
    EXPECT_NE(err_.str().find("vantry-ipcc: /bad: holds no address range"), std::string::npos) << err_.str();
  }
}

TEST_F(BuilderTest, SaysWhichFileFailed) {
  files_.Put("/good", "1,2,AU\n");
  EXPECT_EQ(Run({"/good", "/missing", "/t"}), 1);
  EXPECT_EQ(err_.str(), "vantry-ipcc: /missing: not there\n");
  files_.fails = [](const std::string& call) { return call == "replace /t"; };
  EXPECT_EQ(Run({"/good", "/t"}), 1);
  EXPECT_EQ(err_.str(), "vantry-ipcc: /t: No space left on device\n");
  EXPECT_EQ(out_.str(), "/good: 1 range\n");
  EXPECT_EQ(files_.Get("/t"), "<none>");
}

TEST_F(BuilderTest, WritesOverNothingButATable) {
  files_.Put("/a", "1,2,AU\n");
  files_.Put("/b", "3,4,CN and a remark that makes it longer than the head of a table is\n");
  EXPECT_EQ(Run({"/a", "/b"}), 1);
  EXPECT_EQ(files_.Get("/b").substr(0, 7), "3,4,CN ");
  EXPECT_NE(err_.str().find("/b: is no dBase table"), std::string::npos);
  // What can't be read might be anything.
  files_.Put("/t", Table({{0, {'A', 'U'}}}));
  files_.entries["/t"]->readable = false;
  EXPECT_EQ(Run({"/a", "/t"}), 1);
  EXPECT_EQ(files_.Get("/t"), Table({{0, {'A', 'U'}}}));
}

TEST_F(BuilderTest, TellsHowItIsUsed) {
  files_.Put("/a", "1,2,AU\n");
  const std::vector<std::vector<std::string>> misuses = {{}, {"/a"}, {"--"}, {"--", "/a"}, {"--fly", "/a", "/t"}};
  for (const auto& words : misuses) {
    EXPECT_EQ(Run(words), 2);
    EXPECT_EQ(out_.str(), "");
    EXPECT_NE(err_.str().find("Usage: vantry-ipcc RANGES-FILE... IPCC.DBF\n"), std::string::npos);
  }
  EXPECT_NE(err_.str().find("'--fly'"), std::string::npos);
  for (const char* help : {"--help", "-h"}) {
    EXPECT_EQ(Run({"/a", help}), 0);
    EXPECT_EQ(out_.str().find("Usage: vantry-ipcc"), 0u);
    EXPECT_EQ(err_.str(), "");
  }
  EXPECT_TRUE(files_.calls.empty());
  files_.Put("--a", "0,4294967295,AU\n");
  EXPECT_EQ(Run({"--", "--a", "-t"}), 0);
  EXPECT_EQ(files_.Get("-t"), Table({{0, {'A', 'U'}}}));
}

}  // namespace
}  // namespace vantry
