// Counts by name, of which there may be a million: all names lie one after the other, and nothing is freed one by one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

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
    const auto hash = static_cast<uint32_t>(std::hash<std::string_view>()(name));
    size_t slot = SlotOf(hash, name);
    if (slots_[slot] == 0) {
      if (2 * entries_.size() >= slots_.size()) {
        Grow();
        slot = SlotOf(hash, name);
      }
      entries_.push_back({{}, names_.size(), static_cast<uint32_t>(name.size()), hash});
      names_ += name;
      slots_[slot] = static_cast<uint32_t>(entries_.size());
    }
    return entries_[slots_[slot] - 1].count;
  }

 private:
  struct Entry {
    Count count;
    size_t at;
    uint32_t size, hash;
  };

  // Where the name is, or would be.
  size_t SlotOf(uint32_t hash, std::string_view name) const {
    size_t slot = hash & (slots_.size() - 1);
    while (slots_[slot] != 0) {
      const size_t place = slots_[slot] - 1;
      if (entries_[place].hash == hash && Name(place) == name) break;
      slot = (slot + 1) & (slots_.size() - 1);
    }
    return slot;
  }
  void Grow() {
    std::vector<uint32_t> slots(2 * slots_.size());
    for (size_t place = 0; place < entries_.size(); ++place) {
      size_t slot = entries_[place].hash & (slots.size() - 1);
      while (slots[slot] != 0) slot = (slot + 1) & (slots.size() - 1);
      slots[slot] = static_cast<uint32_t>(place + 1);
    }
    slots_ = std::move(slots);
  }

  std::string names_;
  std::deque<Entry> entries_;
  std::vector<uint32_t> slots_ = std::vector<uint32_t>(64);  // Places from 1 on, 0 for none; a power of two.
};

}  // namespace vantry
