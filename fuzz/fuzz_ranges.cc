// A file of address ranges, and the table that is made of it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "database/dbf_format.h"
#include "ipcc/country_table.h"
#include "ipcc/ranges.h"
#include "support/direct_country.h"

namespace {

using namespace vantry;

// Comparing with the rule takes time by the cube of the ranges.
constexpr size_t kMostRangesCompared = 24;

void Require(bool holds) {
  if (!holds) std::abort();
}

bool IsCode(const CountryCode& code) {
  constexpr std::string_view kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  return code == kNoCountry || (code != CountryCode{'Z', 'Z'} && kCharacters.find(code[0]) != kCharacters.npos &&
                                kCharacters.find(code[1]) != kCharacters.npos);
}

CountryCode Find(const std::vector<CountryRow>& rows, uint32_t address) {
  const auto behind = std::upper_bound(rows.begin(), rows.end(), address,
                                       [](uint32_t a, const CountryRow& row) { return a < row.first; });
  return (behind - 1)->code;
}

void CheckRows(const std::vector<CountryRange>& ranges, const std::vector<CountryRow>& rows) {
  Require(!rows.empty() && rows[0].first == 0 && rows.size() <= 2 * ranges.size() + 1);
  for (size_t i = 1; i < rows.size(); ++i) {
    Require(rows[i - 1].first < rows[i].first && rows[i - 1].code != rows[i].code);
  }
  if (ranges.size() > kMostRangesCompared) return;
  for (const CountryRange& range : ranges) {
    for (const uint32_t address : {range.first - 1, range.first, range.last, range.last + 1}) {
      Require(Find(rows, address) == DirectCountry(ranges, address));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const RangeText text = ParseRanges(bytes);
  const auto lines = static_cast<size_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1;
  Require(text.ranges.size() + text.ipv6_count + text.bad_count <= lines);
  Require(text.bad_lines.size() == std::min(text.bad_count, kMaxBadLinesKept));
  for (const BadLine& line : text.bad_lines) {
    Require(line.number >= 1 && line.number <= lines && !line.what.empty());
    Require(std::all_of(line.what.begin(), line.what.end(), [](char c) { return c >= ' ' && c <= '~'; }));
  }
  for (const CountryRange& range : text.ranges) Require(range.first <= range.last && IsCode(range.code));

  const std::vector<CountryRow> rows = BuildCountryRows(text.ranges);
  CheckRows(text.ranges, rows);
  const std::string table = BuildCountryTable(rows, Day{46000});
  TableHeader header;
  Require(ParseHeader(table, header).ok() && header.rows == rows.size());
  Require(table.size() == header.header_bytes + rows.size() * header.layout.row_bytes + 1);
  Require(table.substr(header.header_bytes, 16) == " 000.000.000.000");
  return 0;
}
