#include "desktop/history_sort.h"

#include <algorithm>
#include <utility>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kBeginBytes = 8;

// Texts are compared whatever their case.
uint64_t LowerBeginOf(std::string_view text) {
  uint64_t begin = 0;
  for (size_t i = 0; i < kBeginBytes; ++i) {
    begin = begin << 8 | (i < text.size() ? static_cast<unsigned char>(LowerAscii(text[i])) : 0);
  }
  return begin;
}

int CompareNoCase(std::string_view a, std::string_view b) {
  const auto [in_a, in_b] =
      std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(std::min(a.size(), b.size())), b.begin(),
                    [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
  if (in_a == a.end() || in_b == b.end()) return a.size() < b.size() ? -1 : a.size() > b.size();
  return static_cast<unsigned char>(LowerAscii(*in_a)) < static_cast<unsigned char>(LowerAscii(*in_b)) ? -1 : 1;
}

}  // namespace

HistorySort::HistorySort(const HistoryList& list, int column, bool descending, const std::vector<uint32_t>& rows)
    : list_(list), column_(column), less_{descending}, rows_(rows) {
  keys_.reserve(rows_.size());
}

HistorySort::Key HistorySort::KeyOf(uint32_t row) const {
  if (column_ < 0) return {.row = row};
  const auto column = static_cast<size_t>(column_);
  if (list_.Columns()[column].kind != CellKind::kText) {
    constexpr uint64_t kSign = uint64_t{1} << 63;
    return {.begin = static_cast<uint64_t>(list_.Number(row, column)) ^ kSign, .row = row};
  }
  const std::string_view text = list_.Text(row, column);
  return {LowerBeginOf(text), text.data(), static_cast<uint32_t>(text.size()), row};
}

bool HistorySort::Less::operator()(const Key& a, const Key& b) const {
  if (a.begin != b.begin) return descending ? b.begin < a.begin : a.begin < b.begin;
  const int order = CompareNoCase(a.Text(), b.Text());
  if (order != 0) return descending ? order > 0 : order < 0;
  return a.row < b.row;
}

void HistorySort::Step(size_t rows) {
  for (; rows > 0 && keys_.size() < rows_.size() && !sort_; --rows) keys_.push_back(KeyOf(rows_[keys_.size()]));
  if (!sort_ && keys_.size() == rows_.size()) sort_.emplace(std::move(keys_), less_);
  if (sort_) sort_->Step(rows);
}

void HistorySort::Give(std::vector<uint32_t>& rows) const {
  const std::vector<Key>& keys = sort_->Items();
  std::transform(keys.begin(), keys.end(), rows.begin(), [](const Key& key) { return key.row; });
}

}  // namespace vantry
