// An index from hashes to records that live elsewhere. The same key may occur any number of times; telling equal
// hashes from equal keys is the caller's part. Open addressing keeps a look-up to one place in memory, where the
// standard maps go through three: with 100,000 visitors on line that is most of what a look-up costs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory_resource>
#include <string_view>
#include <vector>

namespace vantry {

inline uint64_t SpreadHash(std::string_view text, uint64_t salt = 0) {
  return (std::hash<std::string_view>{}(text) + salt) * 0x9E3779B97F4A7C15u;  // Fibonacci hashing.
}

// `Ref` says which record: a pointer, or a number above 0. With four-byte numbers an entry takes eight bytes.
template <class Ref>
class HashIndex {
 public:
  HashIndex() : entries_(kLeast) {}

  void Add(uint64_t hash, Ref record) {
    if ((count_ + 1) * 10 > entries_.size() * 7) Resize(entries_.size() * 2);
    Place({static_cast<uint32_t>(hash), record});
    ++count_;
  }

  // The record must be in the index under this hash.
  void Remove(uint64_t hash, Ref record) {
    size_t hole = hash & Mask();
    while (entries_[hole].record != record) hole = (hole + 1) & Mask();
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

  // Gives back the memory that a larger number of records took.
  void Fit() {
    size_t size = entries_.size();
    while (size > kLeast && count_ * 8 < size) size /= 2;
    if (size < entries_.size()) Resize(size);
  }

  // Calls `f(Ref)` for each record with this hash, in no particular order, and perhaps for others.
  template <class F>
  void ForEach(uint64_t hash, F&& f) const {
    for (size_t i = hash & Mask(); entries_[i].record; i = (i + 1) & Mask()) {
      if (entries_[i].hash == static_cast<uint32_t>(hash)) f(entries_[i].record);
    }
  }

  // Calls `f(Ref)` for every record.
  template <class F>
  void ForAll(F&& f) const {
    for (const Entry& entry : entries_) {
      if (entry.record) f(entry.record);
    }
  }

  size_t Count() const { return count_; }
  // Places for records, used or not.
  size_t Size() const { return entries_.size(); }

  // Asks the memory for the place of this hash ahead of its use.
  void Warm(uint64_t hash) const { __builtin_prefetch(&entries_[hash & Mask()]); }
  // The record in the home slot of this hash, most often the wanted one; Ref{} if the slot is empty.
  Ref Guess(uint64_t hash) const { return entries_[hash & Mask()].record; }

 private:
  static constexpr size_t kLeast = 64;
  struct Entry {  // An unused entry has no record.
    uint32_t hash = 0;
    Ref record{};
  };
  size_t Mask() const { return entries_.size() - 1; }
  void Place(const Entry& entry) {
    size_t i = entry.hash & Mask();
    while (entries_[i].record) i = (i + 1) & Mask();
    entries_[i] = entry;
  }
  void Resize(size_t size) {
    std::pmr::vector<Entry> old(size);
    old.swap(entries_);
    for (const Entry& entry : old) {
      if (entry.record) Place(entry);
    }
  }

  std::pmr::vector<Entry> entries_;  // Its size is a power of two, at most 70 % used.
  size_t count_ = 0;
};

}  // namespace vantry
