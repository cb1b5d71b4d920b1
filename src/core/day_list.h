// The day's lists of alerts, spiders and exceptions: typed rows in order of arrival. A log of any size passes through
// them, so each list keeps its newest rows alone; counters and tables have all.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "core/date_time.h"

namespace vantry {

// What the rows of all day lists have.
struct DayRow {
  LogTime when;               // The moment the row tells of; pages show today's rows only.
  int16_t site = 0;           // 0 for none.
  bool hidden = false;        // Not shown in the current view.
  uint32_t counted_text = 0;  // Bytes of text the row came with; kept by its list.
};

struct ExceptionRow : DayRow {
  int16_t number = 0;  // Of the exception's type.
  int32_t no = 0;      // How many its site (or, for no site, the program) had raised with it.
  std::string details;

  size_t TextBytes() const { return details.size(); }
};

template <class Row>
class DayList {
 public:
  static constexpr size_t kMaxRows = 200'000;
  static constexpr size_t kMaxTextBytes = 16u << 20;

  // Adds a row at the end, and drops the oldest where there is no room. The result is the row's number: numbers grow
  // with each row, and none is used twice.
  uint64_t Add(Row row) {
    row.counted_text = static_cast<uint32_t>(row.TextBytes());
    text_bytes_ += row.counted_text;
    rows_.push_back(std::move(row));
    const uint64_t number = first_ + rows_.size() - 1;
    while (rows_.size() > kMaxRows || text_bytes_ > kMaxTextBytes) DropFront();
    return number;
  }
  // The row with this number, or null when it is gone.
  Row* At(uint64_t number) {
    const uint64_t place = number - first_;
    return place < rows_.size() ? &rows_[place] : nullptr;
  }
  void Clear() {
    first_ += rows_.size();
    std::deque<Row>().swap(rows_);
    text_bytes_ = 0;
    dropped_ = 0;
    told = false;
  }
  size_t RowCount() const { return rows_.size(); }
  // Rows that had no room since the list was last empty.
  uint64_t Dropped() const { return dropped_; }

  bool told = false;  // That rows were dropped, since the list was last empty.

  auto begin() { return rows_.begin(); }
  auto end() { return rows_.end(); }
  auto begin() const { return rows_.begin(); }
  auto end() const { return rows_.end(); }

 private:
  void DropFront() {
    text_bytes_ -= rows_.front().counted_text;
    rows_.pop_front();
    ++first_;
    ++dropped_;
  }
  std::deque<Row> rows_;
  uint64_t first_ = 0;  // The number of rows_.front().
  size_t text_bytes_ = 0;
  uint64_t dropped_ = 0;
};

}  // namespace vantry
