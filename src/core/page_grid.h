// `pageGrid` and `TraceGrid`: the two lists that take a row per page view. Only a window shows them, so they are kept
// only where one is. A log of any size passes through them: both are bounded, and their rows are small.
#pragma once

#include <cstdint>
#include <deque>
#include <string_view>

#include "core/text_queue.h"

namespace vantry {

struct VisitorRec;

struct PageRow {
  std::string_view page;  // Page with its query; of the list that holds the row.
  uint64_t previous;      // The visitor's row before this one, or kNoRow.
  int32_t second_of_day;  // Log time of the view.
  int16_t no;             // The visitor's page count at that view.
};

// The newest page views, in order of arrival: up to kMaxRows of them with up to kMaxTextBytes of text, as one busy day
// must not fill the memory with views that nobody looks at. Rows are reached through their visitor, from LastPageRow
// back. So those of a visitor who left are out of reach, and go when they are the oldest: to delete them one by one
// would touch memory that has long gone cold, for every visitor of a first scan.
class PageRows {
 public:
  static constexpr size_t kMaxRows = 200'000;
  static constexpr size_t kMaxTextBytes = 16u << 20;
  static constexpr uint64_t kNoRow = ~uint64_t{0};

  // Adds a view of `visitor` and makes it the head of the visitor's chain.
  void AddRow(VisitorRec& visitor, int16_t no, std::string_view page, std::string_view query, int32_t second_of_day);
  // Deletes all rows; those of a visitor who stays are no longer reached.
  void Clear();
  size_t RowCount() const { return rows_.size(); }
  // Rows have numbers in the order of arrival, none of them used twice. The row with this number, null if it is gone.
  const PageRow* At(uint64_t number) const {
    return number >= first_ && number - first_ < rows_.size() ? &rows_[number - first_] : nullptr;
  }
  // The number of the oldest row.
  uint64_t FirstNumber() const { return first_; }

 private:
  void DropFront();
  std::deque<PageRow> rows_;
  TextQueue texts_;
  size_t text_bytes_ = 0;
  uint64_t first_ = 0;  // The number of rows_.front().
};

struct TraceRow {
  std::string_view site, text;  // Of the list that holds the row.
  int64_t position = 0;
};

// The log file trace: the newest 5,000 rows.
class TraceRows {
 public:
  static constexpr size_t kMaxRows = 5'000;
  // A text is cut at this many bytes: a trace row is for reading, and a hostile log has lines of megabytes.
  static constexpr size_t kMaxText = 4'096;

  void AddRow(std::string_view site, int64_t position, std::string_view text);
  size_t RowCount() const { return rows_.size(); }
  // 0 is the oldest row.
  const TraceRow& Row(size_t index) const { return rows_[index]; }
  // Rows ever added.
  uint64_t Added() const { return added_; }

  bool locked = false;  // The window does not scroll to new rows.

 private:
  std::deque<TraceRow> rows_;
  TextQueue texts_;
  uint64_t added_ = 0;
};

}  // namespace vantry
