// The table from addresses to countries, made from ranges. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/date_time.h"
#include "ipcc/ranges.h"

namespace vantry {

// The country applies from this address up to the next row's.
struct CountryRow {
  uint32_t first = 0;
  CountryCode code = kNoCountry;
  bool operator==(const CountryRow&) const = default;
};

// Lays the ranges over the whole address space, by docs/decisions/0009-overlapping-address-ranges.md where they
// overlap: a range within another wins over it, of equal and crossing ranges the one that comes later in `ranges`
// wins. Addresses in no range have kNoCountry. The rows ascend, the first is that of address 0, and neighbours have
// different codes.
std::vector<CountryRow> BuildCountryRows(std::vector<CountryRange> ranges);

// The address as the table stores it: four numbers of three digits, separated by dots.
std::string AddressKey(uint32_t address);

// The bytes of IPCC.DBF.
std::string BuildCountryTable(const std::vector<CountryRow>& rows, Day updated);

}  // namespace vantry
