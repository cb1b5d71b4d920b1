// A merge sort that is done a little at a time, with other work in between.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace vantry {

// `Less` puts all items in one order: no two of them are equal.
template <class Item, class Less>
class SortInSteps {
 public:
  SortInSteps(std::vector<Item> items, Less less) : items_(std::move(items)), less_(std::move(less)) {
    merged_.reserve(items_.size());
  }

  // Goes on: moves about so many items.
  void Step(size_t items) {
    while (items > 0 && !Done()) {
      if (next_ < items_.size()) {
        items -= std::min(items, SortRun());
      } else {
        MergeOne();
        --items;
      }
    }
  }
  bool Done() const { return next_ == items_.size() && width_ >= items_.size(); }
  // In order once it is done.
  const std::vector<Item>& Items() const { return items_; }

 private:
  static constexpr size_t kRun = 16;

  size_t SortRun() {
    const size_t count = std::min(kRun, items_.size() - next_);
    const auto begin = items_.begin() + static_cast<std::ptrdiff_t>(next_);
    std::sort(begin, begin + static_cast<std::ptrdiff_t>(count), less_);
    next_ += count;
    return count;
  }

  // Two neighbouring runs become one of twice the width. A pass that has merged all of them makes way for the next.
  void MergeOne() {
    const size_t at = merged_.size();
    if (at == pair_end_) {
      left_ = at;
      right_ = left_end_ = std::min(at + width_, items_.size());
      pair_end_ = std::min(at + 2 * width_, items_.size());
    }
    const bool from_right = left_ == left_end_ || (right_ < pair_end_ && less_(items_[right_], items_[left_]));
    merged_.push_back(items_[from_right ? right_++ : left_++]);
    if (merged_.size() < items_.size()) return;
    items_.swap(merged_);
    merged_.clear();
    pair_end_ = 0;
    width_ *= 2;
  }

  std::vector<Item> items_, merged_;
  Less less_;
  size_t next_ = 0;      // Where the next run begins that is not sorted yet.
  size_t width_ = kRun;  // Of the runs that are being merged.
  size_t left_ = 0, left_end_ = 0, right_ = 0, pair_end_ = 0;
};

}  // namespace vantry
