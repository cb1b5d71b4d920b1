// Counts by name, of which there may be a million: all names lie one after the other, and nothing is freed one by one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "core/hash_index.h"

namespace vantry {

class NameCounts {
 public:
  struct Count {
    int64_t count = 0, first = 0, last = 0;
    // Days are numbers here, 0 for none.
    void Take(int64_t more, int64_t first_day, int64_t last_day) {
      count += more;
      if (first_day != 0 && (first == 0 || first_day < first)) first = first_day;
      last = std::max(last, last_day);
    }
  };

  size_t Size() const { return entries_.size(); }
  std::string_view Name(size_t place) const {
    return std::string_view(names_).substr(entries_[place].at, entries_[place].size);
  }
  const Count& At(size_t place) const { return entries_[place].count; }

  // New names begin at 0. Valid until the next call.
  Count& Of(std::string_view name) {
    const uint64_t hash = SpreadHash(name);
    uint32_t number = 0;
    index_.ForEach(hash, [&](uint32_t other) {
      if (Name(other - 1) == name) number = other;
    });
    if (number == 0) {
      entries_.push_back({{}, names_.size(), name.size()});
      names_ += name;
      number = static_cast<uint32_t>(entries_.size());
      index_.Add(hash, number);
    }
    return entries_[number - 1].count;
  }

 private:
  struct Entry {
    Count count;
    size_t at, size;
  };

  std::string names_;
  std::deque<Entry> entries_;
  HashIndex<uint32_t> index_;  // Places in entries_, from 1.
};

}  // namespace vantry
