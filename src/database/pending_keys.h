// What is held in memory in front of one tree of the index: changes that wait, and where runs of keys end.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// Changes to the keys of one tree that are applied in the order of their keys: sorted changes reach each page of an
// index once, where changes in order of arrival reach it again and again.

class PendingKeys {
 public:
  struct Change {
    uint32_t row = 0;
    bool erase = false;
  };

  // All keys have this length.
  explicit PendingKeys(size_t key_bytes) : key_bytes_(key_bytes), slots_(kMinSlots) {}

  size_t Count() const { return count_; }
  std::string_view KeyAt(size_t i) const { return {entries_.data() + i * EntryBytes(), key_bytes_}; }
  Change ChangeAt(size_t i) const {
    Change change;
    std::memcpy(&change, entries_.data() + i * EntryBytes() + key_bytes_, sizeof change);
    return change;
  }

  // The newest change of a key counts.
  void Set(std::string_view key, Change change);
  // Empty when nothing is held for the key.
  std::optional<Change> Find(std::string_view key) const;
  void Clear();
  // The places of all changes, in the order of their keys.
  const std::vector<uint32_t>& Sorted();

 private:
  static constexpr size_t kMinSlots = 64;
  struct Slot {
    uint32_t hash = 0;
    uint32_t place = 0;  // Of the entry, counted from 1; 0 for an unused slot.
  };
  size_t EntryBytes() const { return key_bytes_ + sizeof(Change); }
  void SetChange(size_t i, Change change) {
    std::memcpy(entries_.data() + i * EntryBytes() + key_bytes_, &change, sizeof change);
  }
  size_t SlotOf(std::string_view key, uint32_t hash) const;
  void Grow();

  size_t key_bytes_;
  size_t count_ = 0;
  std::string entries_;      // Key and change, one behind the other: what is used together lies together.
  std::vector<Slot> slots_;  // Open addressing; its size is a power of two, at most half used.
  std::vector<uint32_t> order_;
  mutable uint32_t last_ = 0;  // Place of the key asked for last, from 1: it is often asked for again at once.
};

// Keys that are counted up at their end, as the pages of a visit are: behind the last key of such a run nothing needs
// to be looked for. Of a key all but the last four bytes name the run.
class KnownEnds {
 public:
  static constexpr size_t kCountedBytes = 4, kMaxRuns = 16 * 1024;

  explicit KnownEnds(size_t key_bytes) : first_absent_(key_bytes - std::min(key_bytes, kCountedBytes)) {}

  // Whether it is known that there is no such key.
  bool Absent(std::string_view key) const;
  // No key of this run at or behind `key` was found in the index.
  void Learn(std::string_view key);
  // A key was added that the index does not have yet. Of a run that is not known here nothing can be learned until the
  // index has it: what was found there would not be all.
  void Added(std::string_view key);
  // The index has all keys that were added.
  void Applied();
  void Clear();

 private:
  PendingKeys first_absent_;  // By run: the counted bytes, as a number.
  bool learning_ = true;
};

}  // namespace vantry
