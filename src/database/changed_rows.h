// Changed rows of a table that wait to be written over their old selves: rows by number, in one block of memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

class ChangedRows {
 public:
  struct Row {
    uint32_t number = 0;
    std::string_view bytes;  // Holds until the next change.
  };

  size_t Count() const { return numbers_.size(); }
  // All rows have the same length until Clear. The newest bytes of a row count.
  void Set(uint32_t number, std::string_view bytes);
  // Null when this row does not wait.
  const char* Find(uint32_t number) const;
  // All rows, in the order of their numbers.
  std::vector<Row> Sorted() const;
  // Drops all but these rows of Sorted.
  void Keep(const Row* from, const Row* to);
  void Clear();

 private:
  static constexpr size_t kMinSlots = 64;
  // The slot of this row, or the unused one where it belongs.
  size_t SlotOf(uint32_t number) const;
  void Grow();

  size_t row_bytes_ = 0;
  std::string bytes_;  // One row after the other, in order of arrival.
  std::vector<uint32_t> numbers_;
  // Open addressing: places in `numbers_`, counted from 1; 0 for an unused slot. Its size is a power of two, at most
  // half of it used.
  std::vector<uint32_t> slots_ = std::vector<uint32_t>(kMinSlots);
};

}  // namespace vantry
