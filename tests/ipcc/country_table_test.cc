#include "ipcc/country_table.h"

#include <random>

#include <gtest/gtest.h>

#include "database/dbf_format.h"
#include "support/direct_country.h"

namespace vantry {
namespace {

constexpr uint32_t kTop = 4294967295;

CountryRange Range(uint32_t first, uint32_t last, const char* code) {
  return {first, last, {code[0], code[1]}};
}

// "address CODE; ..." with "--" where the country is not known.
std::string RowsOf(const std::vector<CountryRange>& ranges) {
  std::string shown;
  for (const CountryRow& row : BuildCountryRows(ranges)) {
    if (!shown.empty()) shown += "; ";
    const std::string code = row.code == kNoCountry ? "--" : std::string(row.code.data(), 2);
    shown += std::to_string(row.first) + " " + code;
  }
  return shown;
}

struct RowCase {
  const char* name;
  std::vector<CountryRange> ranges;
  std::string rows;
};

void Check(const std::vector<RowCase>& cases) {
  for (const RowCase& c : cases) EXPECT_EQ(RowsOf(c.ranges), c.rows) << c.name;
}

TEST(BuildCountryRows, CoversEveryAddress) {
  Check({
      {"nothing", {}, "0 --"},
      {"one", {Range(5, 9, "AU")}, "0 --; 5 AU; 10 --"},
      {"from the bottom", {Range(0, 9, "AU")}, "0 AU; 10 --"},
      {"to the top", {Range(5, kTop, "AU")}, "0 --; 5 AU"},
      {"all", {Range(0, kTop, "AU")}, "0 AU"},
      {"the ends alone", {Range(0, 0, "AU"), Range(kTop, kTop, "CN")}, "0 AU; 1 --; 4294967295 CN"},
      {"gap between", {Range(5, 9, "AU"), Range(20, 29, "CN")}, "0 --; 5 AU; 10 --; 20 CN; 30 --"},
      {"out of order", {Range(20, 29, "CN"), Range(5, 9, "AU")}, "0 --; 5 AU; 10 --; 20 CN; 30 --"},
      {"unknown alone", {Range(5, 9, "  ")}, "0 --"},
      {"unknown between",
       {Range(5, 9, "AU"), Range(10, 14, "  "), Range(15, 19, "AU")},
       "0 --; 5 AU; 10 --; 15 AU; 20 --"},
  });
}

TEST(BuildCountryRows, JoinsNeighboursOfOneCountry) {
  Check({
      {"touching", {Range(5, 9, "AU"), Range(10, 14, "AU")}, "0 --; 5 AU; 15 --"},
      {"not touching", {Range(5, 9, "AU"), Range(11, 14, "AU")}, "0 --; 5 AU; 10 --; 11 AU; 15 --"},
      {"others between",
       {Range(5, 9, "AU"), Range(10, 14, "CN"), Range(15, 19, "AU")},
       "0 --; 5 AU; 10 CN; 15 AU; 20 --"},
      {"nested", {Range(5, 19, "AU"), Range(10, 14, "AU")}, "0 --; 5 AU; 20 --"},
      {"crossing", {Range(5, 12, "AU"), Range(10, 19, "AU")}, "0 --; 5 AU; 20 --"},
  });
}

TEST(BuildCountryRows, LetsTheInnerRangeWin) {
  const std::string within = "0 --; 10 AU; 14 CN; 17 AU; 20 --";
  Check({
      {"inner later", {Range(10, 19, "AU"), Range(14, 16, "CN")}, within},
      {"inner earlier", {Range(14, 16, "CN"), Range(10, 19, "AU")}, within},
      {"same begin", {Range(10, 14, "CN"), Range(10, 19, "AU")}, "0 --; 10 CN; 15 AU; 20 --"},
      {"same end", {Range(15, 19, "CN"), Range(10, 19, "AU")}, "0 --; 10 AU; 15 CN; 20 --"},
      {"three deep",
       {Range(14, 15, "JP"), Range(10, 19, "AU"), Range(12, 17, "CN")},
       "0 --; 10 AU; 12 CN; 14 JP; 16 CN; 18 AU; 20 --"},
      {"unknown within", {Range(10, 19, "AU"), Range(14, 16, "  ")}, "0 --; 10 AU; 14 --; 17 AU; 20 --"},
      {"within unknown", {Range(14, 16, "CN"), Range(0, kTop, "  ")}, "0 --; 14 CN; 17 --"},
      {"in everything",
       {Range(kTop, kTop, "CN"), Range(0, 0, "JP"), Range(0, kTop, "AU")},
       "0 JP; 1 AU; 4294967295 CN"},
  });
}

TEST(BuildCountryRows, LetsTheLaterOfEqualAndCrossingRangesWin) {
  Check({
      {"equal", {Range(10, 19, "AU"), Range(10, 19, "CN")}, "0 --; 10 CN; 20 --"},
      {"equal, turned", {Range(10, 19, "CN"), Range(10, 19, "AU")}, "0 --; 10 AU; 20 --"},
      {"equal, unknown later", {Range(10, 19, "CN"), Range(10, 19, "  ")}, "0 --"},
      {"crossing", {Range(10, 19, "AU"), Range(15, 24, "CN")}, "0 --; 10 AU; 15 CN; 25 --"},
      {"crossing, turned", {Range(15, 24, "CN"), Range(10, 19, "AU")}, "0 --; 10 AU; 20 CN; 25 --"},
      {"crossing, the wider later", {Range(10, 14, "AU"), Range(13, 99, "CN")}, "0 --; 10 AU; 13 CN; 100 --"},
      {"one address in common", {Range(14, 20, "CN"), Range(10, 14, "AU")}, "0 --; 10 AU; 15 CN; 21 --"},
      // JP crosses CN and comes later, but not where both hold AU; AU is within both.
      {"within two that cross",
       {Range(15, 16, "AU"), Range(10, 19, "CN"), Range(14, 24, "JP")},
       "0 --; 10 CN; 14 JP; 15 AU; 17 JP; 25 --"},
      // AU contains CN and therefore does not count where CN holds, though it comes after JP, which beats CN.
      {"a wider one after both",
       {Range(15, 18, "CN"), Range(17, 30, "JP"), Range(10, 20, "AU")},
       "0 --; 10 AU; 15 CN; 17 JP; 19 AU; 21 JP; 31 --"},
  });
}

TEST(BuildCountryRows, AgreesWithTheRuleOnRandomRanges) {
  std::mt19937 random(4);
  for (int round = 0; round < 2'000; ++round) {
    std::vector<CountryRange> ranges(random() % 12);
    for (CountryRange& range : ranges) {
      const uint32_t a = random() % 24, b = random() % 24;
      range = {std::min(a, b), std::max(a, b), {'A', static_cast<char>('A' + random() % 4)}};
      if (random() % 5 == 0) range.code = kNoCountry;
    }
    const std::vector<CountryRow> rows = BuildCountryRows(ranges);
    size_t at = 0;
    for (uint32_t address = 0; address < 30; ++address) {
      if (at + 1 < rows.size() && rows[at + 1].first == address) ++at;
      ASSERT_EQ(rows[at].code, DirectCountry(ranges, address)) << "round " << round << ", address " << address;
    }
    ASSERT_EQ(at + 1, rows.size());
  }
}

TEST(BuildCountryRows, StandsManyRangesOverOneAnother) {
  constexpr uint32_t kCount = 100'000;
  std::vector<CountryRange> ranges;
  for (uint32_t i = 0; i < kCount; ++i) ranges.push_back(Range(i, kTop - i, i % 2 ? "AU" : "CN"));
  const std::vector<CountryRow> rows = BuildCountryRows(ranges);
  ASSERT_EQ(rows.size(), 2 * kCount - 1);
  EXPECT_EQ(rows[kCount - 1], (CountryRow{kCount - 1, {'A', 'U'}}));
  EXPECT_EQ(rows.back(), (CountryRow{kTop, {'C', 'N'}}));
  EXPECT_EQ(RowsOf(std::vector<CountryRange>(kCount, Range(1, 2, "AU"))), "0 --; 1 AU; 3 --");
}

TEST(AddressKey, HasThreeDigitsANumber) {
  EXPECT_EQ(AddressKey(0), "000.000.000.000");
  EXPECT_EQ(AddressKey(10u << 24 | 2 << 16 | 3 << 8 | 4), "010.002.003.004");
  EXPECT_EQ(AddressKey(kTop), "255.255.255.255");
}

TEST(BuildCountryTable, IsADBaseTable) {
  const std::vector<CountryRow> rows = {{0, kNoCountry}, {16777216, {'A', 'U'}}, {kTop, {'C', 'N'}}};
  const std::string bytes = BuildCountryTable(rows, *MakeDay(2026, 11, 21));
  TableHeader header;
  ASSERT_TRUE(ParseHeader(bytes, header).ok());
  RowLayout wanted;
  ASSERT_TRUE(ParseFields({"IP|C|15", "Country|C|2"}, wanted).ok());
  EXPECT_EQ(FirstDifference(wanted, header.layout), "");
  EXPECT_EQ(header.rows, 3u);
  EXPECT_EQ(bytes.substr(1, 3), "\x7E\x0B\x15");  // 2026 - 1900, 11, 21
  EXPECT_EQ(bytes.substr(header.header_bytes),
            " 000.000.000.000  "
            " 001.000.000.000AU"
            " 255.255.255.255CN\x1A");
}

}  // namespace
}  // namespace vantry
