// Text files of address ranges and the country each belongs to. Pure functions over bytes.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// Two characters of A to Z and 0 to 9, or kNoCountry.
using CountryCode = std::array<char, 2>;
inline constexpr CountryCode kNoCountry = {' ', ' '};

struct CountryRange {
  uint32_t first = 0, last = 0;  // IPv4 addresses as numbers; both belong to the range, and first <= last.
  CountryCode code = kNoCountry;
};

struct BadLine {
  size_t number = 0;  // 1-based.
  std::string what;   // For people; free of control characters, whatever the line contains.
};

inline constexpr size_t kMaxBadLinesKept = 20;

struct RangeText {
  std::vector<CountryRange> ranges;  // In the order of the lines.
  size_t ipv6_count = 0;             // Lines with IPv6 addresses, which are passed over.
  size_t bad_count = 0;              // Lines that can't be read, which are passed over too.
  std::vector<BadLine> bad_lines;    // The first kMaxBadLinesKept of them.
};

// Reads lines of "first address, last address, country code", as described in docs/formats/ipcc-dbf.md. Never fails:
// what can't be read is counted.
RangeText ParseRanges(std::string_view text);

}  // namespace vantry
