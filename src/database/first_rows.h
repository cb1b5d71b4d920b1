// Which row was found to have the first key with a given beginning, so that asking again needs no search: before each
// visit of an address the first record of that address is asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/hash_index.h"

namespace vantry {

// Each beginning has one slot, which it may share with others: the last to come stays. So the row of a slot may be that
// of another beginning, and whoever asks must look at the row's key. All beginnings have the length of the first;
// others are ignored.
class FirstRows {
 public:
  static constexpr size_t kLeastSlots = 1024, kMostSlots = 256 * 1024;

  void Set(std::string_view beginning, uint32_t row) {
    if (rows_.empty()) {
      bytes_ = beginning.size();
      rows_.resize(kLeastSlots);
    }
    if (beginning.size() != bytes_) return;
    // What was known is asked for again.
    if (used_ * 2 > rows_.size() && rows_.size() < kMostSlots) {
      rows_.assign(rows_.size() * 4, {});
      used_ = 0;
    }
    const uint64_t hash = SpreadHash(beginning);
    Slot& slot = rows_[PlaceOf(hash)];
    used_ += slot.row == 0;
    slot = {static_cast<uint32_t>(hash), row};
  }
  // 0 if unknown.
  uint32_t Find(std::string_view beginning) const {
    if (rows_.empty() || beginning.size() != bytes_) return 0;
    const uint64_t hash = SpreadHash(beginning);
    const Slot& slot = rows_[PlaceOf(hash)];
    return slot.hash == static_cast<uint32_t>(hash) ? slot.row : 0;
  }
  // A key with this beginning was added or is gone.
  void Forget(std::string_view key) {
    if (rows_.empty() || key.size() < bytes_) return;
    Slot& slot = rows_[PlaceOf(SpreadHash(key.substr(0, bytes_)))];
    used_ -= slot.row != 0;
    slot = {};
  }
  void Clear() {
    rows_.clear();
    used_ = 0;
  }

 private:
  struct Slot {
    uint32_t hash = 0, row = 0;
  };
  size_t PlaceOf(uint64_t hash) const { return hash >> 32 & (rows_.size() - 1); }

  size_t bytes_ = 0;
  size_t used_ = 0;  // Slots.
  std::vector<Slot> rows_;
};

}  // namespace vantry
