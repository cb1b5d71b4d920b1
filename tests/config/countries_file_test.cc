// The file of country names that comes with the program.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include <gtest/gtest.h>

#include "config/settings_file.h"

namespace vantry {
namespace {

class CountriesFile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::ifstream in(VANTRY_TEST_DATA "/../../data/Countries.txt", std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(in), {});
    ParseCountries(bytes_, countries_);
  }

  std::string bytes_;
  std::vector<CountryEntry> countries_;
};

TEST_F(CountriesFile, HasAllCodesOnceAndInOrder) {
  EXPECT_EQ(countries_.size(), 249u);
  std::string before;
  for (const CountryEntry& entry : countries_) {
    EXPECT_TRUE(entry.Code.size() == 2 &&
                std::all_of(entry.Code.begin(), entry.Code.end(), [](char c) { return c >= 'A' && c <= 'Z'; }))
        << entry.Code;
    EXPECT_LT(before, entry.Code);
    before = entry.Code;
  }
}

TEST_F(CountriesFile, NamesEachCountryApart) {
  std::set<std::string> names;
  for (const CountryEntry& entry : countries_) {
    ASSERT_FALSE(entry.Name.empty()) << entry.Code;
    EXPECT_TRUE(entry.Name.front() != ' ' && entry.Name.back() != ' ') << entry.Name;
    EXPECT_TRUE(names.insert(entry.Name).second) << entry.Name;
  }
}

// The reader drops what follows a second comma, and pages are not UTF-8.
TEST_F(CountriesFile, IsPlainText) {
  ASSERT_FALSE(bytes_.empty());
  EXPECT_EQ(std::count(bytes_.begin(), bytes_.end(), ','), std::count(bytes_.begin(), bytes_.end(), '\n'));
  EXPECT_EQ(std::count(bytes_.begin(), bytes_.end(), '\n'), 249);
  for (const char c : bytes_) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << static_cast<int>(c);
  // In the pages these would be markup.
  EXPECT_EQ(bytes_.find_first_of("&<>\""), std::string::npos);
}

}  // namespace
}  // namespace vantry
