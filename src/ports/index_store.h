// An ordered store of keys: one file with many trees. Keys are bytes and sort as bytes; each maps to a row number.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

enum class Seek { kEqual, kAtOrAfter, kAfter, kBefore };

struct IndexEntry {
  std::string_view key;  // Valid until the next call on the store.
  uint32_t row = 0;
};

// Changes are visible to this program at once and are kept, all together, by Commit. Uncommitted changes are lost after
// a failed Commit and after Close. A call on a store that is not open fails.
class IndexStore {
 public:
  static constexpr size_t kMaxKeyBytes = 500;

  virtual ~IndexStore() = default;
  // Opens the file or creates it. kBadData if it is damaged or of another kind: then remove it and open again.
  virtual Status Open(const std::string& path) = 0;
  virtual void Close() = 0;
  // Opens a tree or creates it; `tree` is its number until Close.
  virtual Status OpenTree(const std::string& name, int& tree) = 0;
  virtual Status EmptyTree(int tree) = 0;
  // Adds the key, or changes its row.
  virtual Status Put(int tree, std::string_view key, uint32_t row) = 0;
  // Erasing a missing key is not a failure.
  virtual Status Erase(int tree, std::string_view key) = 0;
  // The first entry that `how` selects; for kBefore the last one before the key. kNotFound if there is none.
  virtual Status Find(int tree, Seek how, std::string_view key, IndexEntry& entry) = 0;
  // `durable`: returns once the changes survive a loss of power. Otherwise they survive only the program's end, and a
  // loss of power may damage the whole file.
  virtual Status Commit(bool durable) = 0;
};

}  // namespace vantry
