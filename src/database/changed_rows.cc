#include "database/changed_rows.h"

#include <algorithm>
#include <cstring>

namespace vantry {

size_t ChangedRows::SlotOf(uint32_t number) const {
  const size_t mask = slots_.size() - 1;
  size_t i = (number * 0x9E3779B97F4A7C15u >> 32) & mask;  // Fibonacci hashing.
  while (slots_[i] != 0 && numbers_[slots_[i] - 1] != number) i = (i + 1) & mask;
  return i;
}

void ChangedRows::Set(uint32_t number, std::string_view bytes) {
  if (numbers_.empty()) row_bytes_ = bytes.size();
  if ((Count() + 1) * 2 > slots_.size()) Grow();
  uint32_t& slot = slots_[SlotOf(number)];
  if (slot != 0) {
    std::memcpy(bytes_.data() + (slot - 1) * row_bytes_, bytes.data(), row_bytes_);
    return;
  }
  bytes_.append(bytes);
  numbers_.push_back(number);
  slot = static_cast<uint32_t>(numbers_.size());
}

const char* ChangedRows::Find(uint32_t number) const {
  if (numbers_.empty()) return nullptr;
  const uint32_t place = slots_[SlotOf(number)];
  return place == 0 ? nullptr : bytes_.data() + (place - 1) * row_bytes_;
}

std::vector<ChangedRows::Row> ChangedRows::Sorted() const {
  std::vector<Row> rows(Count());
  for (size_t i = 0; i < rows.size(); ++i) {
    rows[i] = {numbers_[i], std::string_view(bytes_).substr(i * row_bytes_, row_bytes_)};
  }
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.number < b.number; });
  return rows;
}

void ChangedRows::Keep(const Row* from, const Row* to) {
  ChangedRows kept;
  for (; from != to; ++from) kept.Set(from->number, from->bytes);
  *this = std::move(kept);
}

void ChangedRows::Clear() {
  std::fill(slots_.begin(), slots_.end(), 0);
  numbers_.clear();
  bytes_.clear();
}

void ChangedRows::Grow() {
  slots_.assign(slots_.size() * 2, 0);
  for (uint32_t place = 1; place <= numbers_.size(); ++place) slots_[SlotOf(numbers_[place - 1])] = place;
}

}  // namespace vantry
