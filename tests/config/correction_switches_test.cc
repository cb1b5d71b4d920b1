#include "config/correction_switches.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

#include <gtest/gtest.h>

#include "config/registry_store.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

struct SwitchTest : ::testing::Test {
  MemoryFiles files;
  RegistryFile store{files, "/p/registry.ini"};
  std::vector<std::string> problems;

  Corrections Read(const std::string& lines) {
    files.Put("/p/registry.ini", "[Corrections]\n" + lines);
    problems.clear();
    return ReadCorrections(store, problems);
  }
};

TEST_F(SwitchTest, NothingIsOnUnlessWritten) {
  const Corrections none = ReadCorrections(store, problems);
  for (const CorrectionRow& row : CorrectionRows()) EXPECT_EQ(row.Value(none), 0) << row.key;
  EXPECT_EQ(none.SaveEvery, 60);
  EXPECT_TRUE(problems.empty());
}

TEST_F(SwitchTest, EachRowIsSwitchedByItsKeyAlone) {
  std::set<std::string_view> keys;
  for (const CorrectionRow& row : CorrectionRows()) {
    EXPECT_TRUE(keys.insert(row.key).second) << row.key;
    EXPECT_NE(row.flag == nullptr, row.number == nullptr) << row.key;
    EXPECT_EQ(row.number != nullptr, row.standard > 0) << row.key;
    EXPECT_TRUE(row.sentence.ends_with('.') && !row.where.empty()) << row.key;
    const Corrections on = Read(std::string(row.key) + "=True\n");
    for (const CorrectionRow& other : CorrectionRows()) {
      EXPECT_EQ(other.Value(on), &other != &row ? 0 : (row.number ? row.standard : 1)) << row.key << other.key;
    }
    const Corrections all_but = Read("All=True\n" + std::string(row.key) + "=False\n");
    for (const CorrectionRow& other : CorrectionRows()) {
      EXPECT_EQ(other.Value(all_but) == 0, &other == &row) << row.key << other.key;
    }
  }
  EXPECT_TRUE(problems.empty());
}

TEST_F(SwitchTest, NumbersAreTaken) {
  EXPECT_EQ(Read("RepeatMinutes=5\n").RepeatMinutes, 5);
  EXPECT_EQ(Read("RepeatMinutes=1\n").RepeatMinutes, 1);
  EXPECT_EQ(Read("repeatminutes = 5\n").RepeatMinutes, 5);
  EXPECT_EQ(Read("All=True\nRepeatMinutes=0\n").RepeatMinutes, 0);
  EXPECT_EQ(Read("All=True\nRepeatMinutes=False\n").RepeatMinutes, 0);
  EXPECT_EQ(Read("All=True\nRepeatMinutes=7\n").RepeatMinutes, 7);
  EXPECT_EQ(Read("All=True\n").MaxVisitors, 200'000);
  EXPECT_EQ(Read("SaveEvery=5\n").SaveEvery, 5);
  EXPECT_TRUE(Read("TrueTimes=1\n").TrueTimes);
  EXPECT_FALSE(Read("All=True\nTrueTimes=0\n").TrueTimes);
}

TEST_F(SwitchTest, MistakesAreNamedAndNotUsed) {
  EXPECT_TRUE(Read("All=True\nTrueTimes=yes\n").TrueTimes);
  EXPECT_EQ(problems, std::vector<std::string>{
                          "registry.ini, [Corrections]: TrueTimes is 'yes', which is neither True nor False. "
                          "The line is not used."});
  EXPECT_EQ(Read("MaxPrograms=-1\n").MaxPrograms, 0);
  EXPECT_EQ(problems, std::vector<std::string>{"registry.ini, [Corrections]: MaxPrograms is '-1', which is none of "
                                               "True, False and a whole number. The line is not used."});
  Read("TrueTime=True\n");
  EXPECT_EQ(problems, std::vector<std::string>{"registry.ini, [Corrections]: there is no correction 'TrueTime'; "
                                               "`vantryctl corrections` lists them. The line is not used."});
  EXPECT_EQ(Read("SaveEvery=0\n").SaveEvery, 60);
  EXPECT_EQ(problems.size(), 1u);
  EXPECT_FALSE(Read("All=perhaps\n").TrueTimes);
  EXPECT_EQ(problems.size(), 1u);
}

TEST_F(SwitchTest, WhatIsSetIsRead) {
  ASSERT_TRUE(SetCorrection(store, "all", "True").ok());
  ASSERT_TRUE(SetCorrection(store, "truetimes", "False").ok());
  ASSERT_TRUE(SetCorrection(store, "MaxPrograms", "3").ok());
  ASSERT_TRUE(SetCorrection(store, "SaveEvery", "10").ok());
  EXPECT_EQ(files.Get("/p/registry.ini"), "[Corrections]\nAll=True\nTrueTimes=False\nMaxPrograms=3\nSaveEvery=10\n\n");
  const Corrections read = ReadCorrections(store, problems);
  EXPECT_EQ(CorrectionState(*FindCorrection("TrueTimes"), read), "off");
  EXPECT_EQ(CorrectionState(*FindCorrection("WholeLines"), read), "on");
  EXPECT_EQ(CorrectionState(*FindCorrection("MaxPrograms"), read), "3");
  EXPECT_EQ(read.SaveEvery, 10);

  EXPECT_EQ(SetCorrection(store, "TrueTimes", "2 or 3").text,
            "TrueTimes is '2 or 3', which is neither True nor False.");
  EXPECT_EQ(SetCorrection(store, "", "True").text, "There is no correction ''; `vantryctl corrections` lists them.");
  EXPECT_TRUE(problems.empty());
}

// The table of docs/corrections.md, between its two marks. VANTRY_RENEW=1 writes it anew.
TEST(CorrectionsPage, HasTheRowsOfTheProgram) {
  const std::string path = std::string(VANTRY_TEST_DATA) + "/../../docs/corrections.md";
  const std::string begin = "<!-- rows -->\n", end = "<!-- end of rows -->\n";
  std::ifstream in(path, std::ios::binary);
  std::string page{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  const size_t from = page.find(begin), to = page.find(end);
  ASSERT_TRUE(from != std::string::npos && to != std::string::npos) << path;
  std::string rows = "| Key | Standard | With it | Where |\n|---|---|---|---|\n";
  for (const CorrectionRow& row : CorrectionRows()) {
    rows.append("| `").append(row.key).append("` | ").append(row.number ? std::to_string(row.standard) : "");
    rows.append(" | ").append(row.sentence).append(" | `").append(row.where).append("` |\n");
  }
  const std::string there = page.substr(from + begin.size(), to - from - begin.size());
  if (std::getenv("VANTRY_RENEW")) {
    std::ofstream(path, std::ios::binary) << page.replace(from + begin.size(), there.size(), rows);
    return;
  }
  EXPECT_EQ(there, rows);
}

}  // namespace
}  // namespace vantry
