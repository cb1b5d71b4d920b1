// An ordered store of keys in one file, many trees in it. Keys are bytes and sort as bytes; each leads to a row number.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

enum class Seek { kEqual, kAtOrAfter, kAfter, kBefore };

struct IndexEntry {
  std::string_view key;  // Holds until the next call on the store.
  uint32_t row = 0;
};

// Changes take effect for this program at once and are kept as a whole by Commit; what was not committed is gone after
// a failed Commit and after Close. A call on a store that is not open fails.
class IndexStore {
 public:
  static constexpr size_t kMaxKeyBytes = 500;

  virtual ~IndexStore() = default;
  // Opens the file, or makes it. kBadData when it is damaged or of another kind: remove it then and open again.
  virtual Status Open(const std::string& path) = 0;
  virtual void Close() = 0;
  // Opens a tree, or makes it; `tree` is its number until Close.
  virtual Status OpenTree(const std::string& name, int& tree) = 0;
  virtual Status EmptyTree(int tree) = 0;
  // Adds the key or gives it another row.
  virtual Status Put(int tree, std::string_view key, uint32_t row) = 0;
  // Erasing what is not there is no failure.
  virtual Status Erase(int tree, std::string_view key) = 0;
  // The entry that `how` tells; for kBefore the last one before the key. kNotFound when there is none.
  virtual Status Find(int tree, Seek how, std::string_view key, IndexEntry& entry) = 0;
  // `durable`: returns when the changes survive a loss of power. Otherwise they survive the program's end alone, and a
  // loss of power may damage the whole file.
  virtual Status Commit(bool durable) = 0;
};

}  // namespace vantry
