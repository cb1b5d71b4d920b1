// Rows of today that earlier runs of the program have stored, so that lines which are read again don't store them
// twice.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace vantry {

// A set of row hashes in which a hash may stand several times.
class StoredRows {
 public:
  void Add(uint64_t hash) { rows_.emplace_back(hash, 1); }
  // To be called once, after the last Add.
  void Sort() {
    std::sort(rows_.begin(), rows_.end());
    size_t kept = 0;
    for (size_t i = 0; i < rows_.size(); ++i) {
      if (kept > 0 && rows_[kept - 1].first == rows_[i].first) {
        ++rows_[kept - 1].second;
      } else {
        rows_[kept++] = rows_[i];
      }
    }
    rows_.resize(kept);
  }
  // Whether the row is there; each is taken once.
  bool Take(uint64_t hash) {
    const auto row = std::lower_bound(rows_.begin(), rows_.end(), std::pair(hash, uint32_t{0}));
    if (row == rows_.end() || row->first != hash || row->second == 0) return false;
    --row->second;
    return true;
  }
  bool Empty() const { return rows_.empty(); }
  void Clear() { std::vector<std::pair<uint64_t, uint32_t>>().swap(rows_); }

 private:
  std::vector<std::pair<uint64_t, uint32_t>> rows_;  // Hashes in order, and how many are left of each.
};

}  // namespace vantry
