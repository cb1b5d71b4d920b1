// A queue that keeps the newest items when more come than it may hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

namespace vantry {

// Holds up to `most_rows` items of up to `most_bytes` in all. Beyond that each new item pushes the oldest ones out,
// which is counted. The newest stays whatever its size.
template <class T>
class BoundedQueue {
 public:
  BoundedQueue(size_t most_rows, size_t most_bytes) : most_rows_(most_rows), most_bytes_(most_bytes) {}

  void Push(T item, size_t bytes) {
    items_.push_back({std::move(item), bytes});
    bytes_ += bytes;
    while (items_.size() > 1 && (items_.size() > most_rows_ || bytes_ > most_bytes_)) {
      (void)Pop();
      ++dropped_;
    }
  }
  bool Empty() const { return items_.empty(); }
  size_t Rows() const { return items_.size(); }
  size_t Bytes() const { return bytes_; }
  const T& Front() const { return items_.front().value; }
  T Pop() {
    Item first = std::move(items_.front());
    items_.pop_front();
    bytes_ -= first.bytes;
    return std::move(first.value);
  }
  // How many were pushed out since the last call.
  int64_t TakeDropped() { return std::exchange(dropped_, 0); }

 private:
  struct Item {
    T value;
    size_t bytes;
  };
  std::deque<Item> items_;
  size_t most_rows_, most_bytes_, bytes_ = 0;
  int64_t dropped_ = 0;
};

}  // namespace vantry
