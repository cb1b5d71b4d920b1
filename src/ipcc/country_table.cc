#include "ipcc/country_table.h"

#include <algorithm>
#include <string_view>

#include "core/text.h"
#include "database/dbf_format.h"

namespace vantry {
namespace {

constexpr uint64_t kAddresses = uint64_t{1} << 32;

// The ranges that hold the address at hand. They must be opened by rising first address and, of those that begin at the
// same address, the wider before the narrower and the earlier before the later.
class OpenRanges {
 public:
  void Open(const CountryRange& range, size_t order) {
    open_.push_back({range, order, 0});
    CountLeast(open_.size() - 1);
  }

  // Nested ranges end from the innermost outwards, so that most are taken off the back.
  void CloseBefore(uint64_t address) {
    while (!open_.empty() && open_.back().range.last < address) open_.pop_back();
    if (open_.empty() || open_.back().least_last >= address) return;
    std::erase_if(open_, [&](const Entry& entry) { return entry.range.last < address; });
    for (size_t i = 0; i < open_.size(); ++i) CountLeast(i);
  }

  // A range contains one opened after it if it does not end before it. So, going backwards, those that end before all
  // seen so far contain none of the others; of these the latest wins.
  CountryCode Winner() const {
    const Entry* winner = nullptr;
    uint64_t end = kAddresses;
    for (size_t i = open_.size(); i > 0 && open_[i - 1].least_last < end; --i) {
      const Entry& entry = open_[i - 1];
      if (entry.range.last >= end) continue;
      end = entry.range.last;
      if (!winner || entry.order > winner->order) winner = &entry;
    }
    return winner ? winner->range.code : kNoCountry;
  }

  // The first address at which one of them no longer applies.
  uint64_t NextEnd() const { return open_.empty() ? kAddresses : open_.back().least_last + 1; }

 private:
  struct Entry {
    CountryRange range;
    size_t order = 0;
    uint64_t least_last = 0;  // The lowest last address of this entry and all before it.
  };

  void CountLeast(size_t i) {
    const uint64_t last = open_[i].range.last;
    open_[i].least_last = i == 0 ? last : std::min(last, open_[i - 1].least_last);
  }

  std::vector<Entry> open_;
};

}  // namespace

std::vector<CountryRow> BuildCountryRows(std::vector<CountryRange> ranges) {
  std::vector<size_t> orders(ranges.size());
  for (size_t i = 0; i < orders.size(); ++i) orders[i] = i;
  std::sort(orders.begin(), orders.end(), [&](size_t i, size_t j) {
    const CountryRange &a = ranges[i], &b = ranges[j];
    if (a.first != b.first) return a.first < b.first;
    return a.last != b.last ? a.last > b.last : i < j;
  });
  std::vector<CountryRow> rows;
  OpenRanges open;
  size_t next = 0;
  for (uint64_t address = 0; address < kAddresses;) {
    open.CloseBefore(address);
    for (; next < orders.size() && ranges[orders[next]].first == address; ++next) {
      open.Open(ranges[orders[next]], orders[next]);
    }
    const CountryCode code = open.Winner();
    if (rows.empty() || rows.back().code != code) rows.push_back({static_cast<uint32_t>(address), code});
    const uint64_t next_start = next < orders.size() ? ranges[orders[next]].first : kAddresses;
    address = std::min(open.NextEnd(), next_start);
  }
  return rows;
}

std::string AddressKey(uint32_t address) {
  std::string key;
  for (const int shift : {24, 16, 8, 0}) {
    if (!key.empty()) key += '.';
    key += PadNumber(address >> shift & 255, 3);
  }
  return key;
}

std::string BuildCountryTable(const std::vector<CountryRow>& rows, Day updated) {
  RowLayout layout;
  layout.Add({"IP", 'C', 15});
  layout.Add({"Country", 'C', 2});
  std::string bytes = BuildHeader(layout, updated, static_cast<uint32_t>(rows.size()));
  bytes.reserve(bytes.size() + rows.size() * layout.row_bytes + 1);
  std::string row(layout.row_bytes, dbf::kLiving);
  for (const CountryRow& country : rows) {
    PutText(layout.fields[0], AddressKey(country.first), row.data());
    PutText(layout.fields[1], {country.code.data(), country.code.size()}, row.data());
    bytes += row;
  }
  bytes += dbf::kEndMark;
  return bytes;
}

}  // namespace vantry
