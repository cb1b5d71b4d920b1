// What is held in memory in front of one tree of the index: changes that wait, and where runs of keys end.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/hash_index.h"

namespace vantry {

// Values by keys that all have the same length, in order of arrival.
template <class Value>
class FixedKeyMap {
 public:
  explicit FixedKeyMap(size_t key_bytes) : key_bytes_(key_bytes), slots_(kMinSlots) {}

  size_t KeyBytes() const { return key_bytes_; }
  size_t Count() const { return count_; }
  std::string_view KeyAt(size_t i) const { return {entries_.data() + i * EntryBytes(), key_bytes_}; }
  Value ValueAt(size_t i) const {
    Value value;
    std::memcpy(&value, entries_.data() + i * EntryBytes() + key_bytes_, sizeof value);
    return value;
  }

  // Prefetches a key: in key order, each lies somewhere else.
  void Warm(size_t i) const { __builtin_prefetch(entries_.data() + i * EntryBytes()); }
  // Replaces the key's value if it has one. Returns its place.
  size_t Set(std::string_view key, Value value) {
    if (last_ != 0 && KeyAt(last_ - 1) == key) {
      SetValue(last_ - 1, value);
      return last_ - 1;
    }
    if ((count_ + 1) * 2 > slots_.size()) Grow();
    const uint32_t hash = HashOf(key);
    Slot& slot = slots_[SlotOf(key, hash)];
    if (slot.place == 0) {
      slot = {hash, static_cast<uint32_t>(++count_)};
      entries_.append(key);
      entries_.append(sizeof value, '\0');
    }
    last_ = slot.place;
    SetValue(last_ - 1, value);
    return last_ - 1;
  }
  std::optional<Value> Find(std::string_view key) const {
    const size_t place = key.size() == key_bytes_ ? Place(key) : 0;
    return place == 0 ? std::nullopt : std::optional(ValueAt(place - 1));
  }
  void Clear() {
    // The memory of a big batch is kept for the next one, but not for a few keys.
    const bool spacious = slots_.size() > kMinSlots && count_ * 16 < slots_.size();
    slots_.assign(spacious ? kMinSlots : slots_.size(), {});
    entries_.clear();
    count_ = 0;
    last_ = 0;
  }

 private:
  static constexpr size_t kMinSlots = 64;
  struct Slot {
    uint32_t hash = 0;
    uint32_t place = 0;  // Of the entry, counted from 1; 0 for an unused slot.
  };
  static uint32_t HashOf(std::string_view key) { return static_cast<uint32_t>(SpreadHash(key) >> 32); }
  size_t EntryBytes() const { return key_bytes_ + sizeof(Value); }
  void SetValue(size_t i, Value value) {
    std::memcpy(entries_.data() + i * EntryBytes() + key_bytes_, &value, sizeof value);
  }
  // The slot of the key, or the unused one where it belongs.
  size_t SlotOf(std::string_view key, uint32_t hash) const {
    const size_t mask = slots_.size() - 1;
    size_t i = hash & mask;
    while (slots_[i].place != 0 && (slots_[i].hash != hash || KeyAt(slots_[i].place - 1) != key)) i = (i + 1) & mask;
    return i;
  }
  // The place of the key, counted from 1; 0 if it is missing. The same key is often asked for twice in a row.
  size_t Place(std::string_view key) const {
    if (count_ == 0) return 0;
    if (last_ == 0 || KeyAt(last_ - 1) != key) last_ = slots_[SlotOf(key, HashOf(key))].place;
    return last_;
  }
  void Grow() {
    std::pmr::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    const size_t mask = slots_.size() - 1;
    for (const Slot& slot : old) {
      if (slot.place == 0) continue;
      size_t i = slot.hash & mask;
      while (slots_[i].place != 0) i = (i + 1) & mask;
      slots_[i] = slot;
    }
  }

  size_t key_bytes_;
  size_t count_ = 0;
  std::pmr::string entries_;      // Each key followed by its value: what is used together lies together.
  std::pmr::vector<Slot> slots_;  // Open addressing; its size is a power of two, at most half used.
  mutable uint32_t last_ = 0;     // Place of the key asked for last.
};

struct KeyChange {
  uint32_t row = 0;
  bool erase = false;
};

// Changes to the keys of one tree, to be applied in key order: that way each page of an index is visited once, and not
// again and again.
class PendingKeys : public FixedKeyMap<KeyChange> {
 public:
  using Change = KeyChange;
  using FixedKeyMap::FixedKeyMap;
  Change ChangeAt(size_t i) const { return ValueAt(i); }
  void Set(std::string_view key, Change change);
  void Clear();
  // The places of all changes, in the order of their keys.
  std::vector<uint32_t> Sorted() const;

  // Whether FirstOfGroup can answer for beginnings of this length. It can't while keys wait to be erased, as the index
  // still has those. The first question about a length goes through all keys.
  bool GroupBy(size_t bytes);
  // The place of the first key that begins with this text, which has the length given to GroupBy. If `after` is not
  // empty, only keys after it count.
  std::optional<size_t> FirstOfGroup(std::string_view beginning, std::string_view after = {}) const;

 private:
  static constexpr uint32_t kNone = UINT32_MAX;
  void NoteGroup(uint32_t place);
  FixedKeyMap<uint32_t> groups_{0};  // By beginning: the place of the first key.
  std::vector<uint32_t> others_;     // By place: that of another key of its group. A chain begins at the first key.
  bool erases_ = false;
};

// Where runs of keys end. Keys that end in a count, like those of a visit's pages, form a run, and after its last key
// there is nothing to look for. All but the last kCountedBytes of a key name its run.
class KnownEnds {
 public:
  static constexpr size_t kCountedBytes = 8, kMaxRuns = 512 * 1024;

  // Remembers `max_runs` runs at most.
  explicit KnownEnds(size_t key_bytes, size_t max_runs = kMaxRuns)
      : first_absent_(key_bytes - std::min(key_bytes, kCountedBytes)), max_runs_(max_runs) {}

  // Whether it is known that there is no such key.
  bool Absent(std::string_view key) const;
  // The index was found to have no key of this run at or after `key`.
  void Learn(std::string_view key);
  // A key was added that the index does not have yet. Until it does, nothing can be learned about runs unknown here, as
  // the index would not show all of their keys.
  void Added(std::string_view key);
  // The keys added so far are on their way into the index; more may follow.
  void Taken();
  // The index has all keys that were on their way.
  void Applied();
  void Clear();

 private:
  FixedKeyMap<uint64_t> first_absent_;  // By run: the counted bytes, as a number.
  size_t max_runs_;
  // Keys of unknown runs were added that the index does not have yet.
  bool unknown_added_ = false, unknown_taken_ = false;
  bool any_added_ = false;  // Since Taken.
};

}  // namespace vantry
