// The rows of a list that was read to its end, put in the order of a column a little at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "views/history_list.h"
#include "views/sort_in_steps.h"

namespace vantry {

class HistorySort {
 public:
  // `column` below 0: as the list has them. Equal rows stay in the order of the list. The list and `rows` must stay as
  // they are.
  HistorySort(const HistoryList& list, int column, bool descending, const std::vector<uint32_t>& rows);

  // Goes on with about so many rows.
  void Step(size_t rows);
  bool Done() const { return sort_ && sort_->Done(); }
  // In order once it is done.
  void Give(std::vector<uint32_t>& rows) const;

 private:
  struct Key {
    uint64_t begin = 0;          // A number, or the first bytes of a text: most rows are told apart by it.
    const char* text = nullptr;  // In the list.
    uint32_t size = 0, row = 0;
    std::string_view Text() const { return {text, size}; }
  };
  struct Less {
    bool descending;
    bool operator()(const Key& a, const Key& b) const;
  };
  Key KeyOf(uint32_t row) const;

  const HistoryList& list_;
  const int column_;
  const Less less_;
  const std::vector<uint32_t>& rows_;
  std::vector<Key> keys_;  // Of the first rows, until all have theirs.
  std::optional<SortInSteps<Key, Less>> sort_;
};

}  // namespace vantry
