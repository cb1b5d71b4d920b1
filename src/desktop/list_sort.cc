#include "desktop/list_sort.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "core/text.h"

namespace vantry {
namespace {

struct NumberKey {
  int64_t key;
  uint64_t row;
};

// All texts lie one after the other: one piece of memory for 100,000 of them.
struct TextKey {
  uint64_t begin;  // The first eight bytes as a number in their order: most texts are told apart by it.
  size_t at, size;
  uint64_t row;
};

uint64_t BeginOf(std::string_view text) {
  uint64_t begin = 0;
  for (size_t i = 0; i < 8; ++i) begin = begin << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0);
  return begin;
}

template <class Key, class Compare>
void SortKeys(std::vector<Key>& keys, bool descending, Compare&& compare, std::vector<uint64_t>& rows) {
  std::sort(keys.begin(), keys.end(), [&](const Key& a, const Key& b) {
    const int order = compare(a, b);
    return order == 0 ? a.row < b.row : descending ? order > 0 : order < 0;
  });
  std::transform(keys.begin(), keys.end(), rows.begin(), [](const Key& key) { return key.row; });
}

}  // namespace

void SortByColumn(const RowSource& source, size_t column, bool descending, std::vector<uint64_t>& rows) {
  if (source.SortsAsNumber(column)) {
    std::vector<NumberKey> keys;
    keys.reserve(rows.size());
    for (const uint64_t row : rows) keys.push_back({source.Number(row, column), row});
    const auto compare = [](const NumberKey& a, const NumberKey& b) { return a.key < b.key ? -1 : a.key > b.key; };
    SortKeys(keys, descending, compare, rows);
    return;
  }
  std::string texts;
  std::vector<TextKey> keys;
  keys.reserve(rows.size());
  for (const uint64_t row : rows) {
    const std::string text = Lower(source.Text(row, column));
    keys.push_back({BeginOf(text), texts.size(), text.size(), row});
    texts += text;
  }
  const std::string_view all = texts;
  const auto compare = [all](const TextKey& a, const TextKey& b) {
    if (a.begin != b.begin) return a.begin < b.begin ? -1 : 1;
    return all.substr(a.at, a.size).compare(all.substr(b.at, b.size));
  };
  SortKeys(keys, descending, compare, rows);
}

}  // namespace vantry
