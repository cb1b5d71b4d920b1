// The country of an address straight from the ranges, by the rule and without regard to time, to hold the table
// against.
#pragma once

#include <vector>

#include "ipcc/ranges.h"

namespace vantry {

inline bool LiesWithin(const CountryRange& inner, const CountryRange& outer) {
  const bool equal = inner.first == outer.first && inner.last == outer.last;
  return !equal && outer.first <= inner.first && inner.last <= outer.last;
}

inline CountryCode DirectCountry(const std::vector<CountryRange>& ranges, uint32_t address) {
  std::vector<CountryRange> holders;
  for (const CountryRange& range : ranges) {
    if (range.first <= address && address <= range.last) holders.push_back(range);
  }
  CountryCode code = kNoCountry;
  for (const CountryRange& range : holders) {
    bool innermost = true;
    for (const CountryRange& other : holders) innermost = innermost && !LiesWithin(other, range);
    if (innermost) code = range.code;
  }
  return code;
}

}  // namespace vantry
