// An index from hashes to records that live elsewhere. The same key may occur any number of times; telling equal
// hashes from equal keys is the caller's part. Open addressing keeps a look-up to one place in memory, where the
// standard maps go through three: with 100,000 visitors on line that is most of what a look-up costs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace vantry {

inline uint64_t SpreadHash(std::string_view text, uint64_t salt = 0) {
  return (std::hash<std::string_view>{}(text) + salt) * 0x9E3779B97F4A7C15u;  // Fibonacci hashing.
}

template <class T>
class PointerIndex {
 public:
  PointerIndex() : entries_(64) {}

  void Add(uint64_t hash, T& record) {
    if ((count_ + 1) * 10 > entries_.size() * 7) Grow();
    Place({hash, &record});
    ++count_;
  }

  // The record must be in the index under this hash.
  void Remove(uint64_t hash, const T& record) {
    size_t hole = hash & Mask();
    while (entries_[hole].record != &record) hole = (hole + 1) & Mask();
    // Later entries of the run move up, unless they are between their own place and the hole.
    for (size_t i = (hole + 1) & Mask(); entries_[i].record; i = (i + 1) & Mask()) {
      const size_t home = entries_[i].hash & Mask();
      if (((i - home) & Mask()) >= ((i - hole) & Mask())) {
        entries_[hole] = entries_[i];
        hole = i;
      }
    }
    entries_[hole] = {};
    --count_;
  }

  // Calls `f(T&)` for each record with this hash, in no particular order.
  template <class F>
  void ForEach(uint64_t hash, F&& f) const {
    for (size_t i = hash & Mask(); entries_[i].record; i = (i + 1) & Mask()) {
      if (entries_[i].hash == hash) f(*entries_[i].record);
    }
  }

  void Clear() {
    entries_.assign(64, {});
    count_ = 0;
  }

  // Asks the memory for the place of this hash ahead of its use.
  void Warm(uint64_t hash) const { __builtin_prefetch(&entries_[hash & Mask()]); }
  // The record in the home slot of this hash, most often the wanted one; null if the slot is empty.
  const T* Guess(uint64_t hash) const { return entries_[hash & Mask()].record; }

 private:
  struct Entry {  // An unused entry has no record.
    uint64_t hash = 0;
    T* record = nullptr;
  };
  size_t Mask() const { return entries_.size() - 1; }
  void Place(const Entry& entry) {
    size_t i = entry.hash & Mask();
    while (entries_[i].record) i = (i + 1) & Mask();
    entries_[i] = entry;
  }
  void Grow() {
    std::vector<Entry> old(entries_.size() * 2);
    old.swap(entries_);
    for (const Entry& entry : old) {
      if (entry.record) Place(entry);
    }
  }

  std::vector<Entry> entries_;  // Its size is a power of two, at most 70 % used.
  size_t count_ = 0;
};

}  // namespace vantry
