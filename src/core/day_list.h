// The day's lists of alerts, spiders and exceptions: typed rows in order of arrival. A log of any size passes through
// them, so each list keeps only its newest rows; counters and tables have all.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "core/date_time.h"
#include "core/hash_index.h"
#include "core/look.h"

namespace vantry {

// What the rows of all day lists have.
struct DayRow {
  LogTime when;               // When it happened; pages show today's rows only.
  int16_t site = 0;           // 0 for none.
  bool hidden = false;        // Not shown in the current view.
  uint32_t counted_text = 0;  // Bytes of text the row came with; kept by its list.
};

struct ExceptionRow : DayRow {
  int16_t number = 0;  // Of the exception's type.
  int32_t no = 0;      // The running number at its site or, for no site, in the program.
  std::string details;

  size_t TextBytes() const { return details.size(); }
  std::array<uint64_t, 0> Hashes() const { return {}; }  // Nobody looks for one.
};

// What rows of alerts and spiders take from the visitor. Site and address are the visitor's key.
struct VisitorDayRow : DayRow {
  int32_t visit_no = 0, visit_count = 0;
  std::string ip, dns, page, country, referrer;

  size_t TextBytes() const { return ip.size() + dns.size() + page.size() + country.size() + referrer.size(); }
};

struct SpiderRow : VisitorDayRow {
  std::string engine;

  size_t TextBytes() const { return VisitorDayRow::TextBytes() + engine.size(); }
  std::array<uint64_t, 1> Hashes() const { return {SpreadHash(dns)}; }
};

struct AlertRow : VisitorDayRow {
  int16_t alert_no = 0;
  bool suspect = false;                                   // The visit ended with a score that says so.
  std::optional<int64_t> seconds_on_site = std::nullopt;  // From the first hit to the last, once the visit has ended.
  uint32_t alert_colour = kColourDefault;

  static uint64_t VisitHash(std::string_view ip, int16_t site, int32_t visit_no) {
    return SpreadHash(ip, (static_cast<uint64_t>(site) << 32) + static_cast<uint32_t>(visit_no));
  }
  std::array<uint64_t, 2> Hashes() const { return {SpreadHash(dns), VisitHash(ip, site, visit_no)}; }
};

template <class Row>
class DayList {
 public:
  static constexpr size_t kMaxRows = 200'000;
  static constexpr size_t kMaxTextBytes = 16u << 20;

  // Adds a row at the end, and drops the oldest rows if there is no room.
  void Add(Row row) {
    row.counted_text = static_cast<uint32_t>(row.TextBytes());
    text_bytes_ += row.counted_text;
    for (const uint64_t hash : row.Hashes()) index_.emplace(hash, first_ + rows_.size());
    rows_.push_back(std::move(row));
    ++changes_;
    while (rows_.size() > kMaxRows || text_bytes_ > kMaxTextBytes) DropFront();
  }
  void Clear() {
    first_ += rows_.size();
    ++changes_;
    std::deque<Row>().swap(rows_);
    index_.clear();
    text_bytes_ = 0;
    dropped_ = 0;
    told = false;
  }
  size_t RowCount() const { return rows_.size(); }
  // Rows that had no room since the list was last empty.
  uint64_t Dropped() const { return dropped_; }
  // Rows have numbers in the order of arrival, none of them used twice: those from FirstNumber() to before EndNumber()
  // are in the list. A place in the list is therefore kept as a number while rows come and go.
  uint64_t FirstNumber() const { return first_; }
  uint64_t EndNumber() const { return first_ + rows_.size(); }
  // The row with this number, which must be in the list.
  const Row& At(uint64_t number) const { return rows_[number - first_]; }
  bool Has(uint64_t number) const { return number >= first_ && number < EndNumber(); }
  // For those who show the list: counts up whenever rows came, went or were handed out to be changed.
  uint64_t Changes() const { return changes_; }

  bool told = false;  // That rows were dropped, since the list was last empty.

  auto begin() {
    ++changes_;
    return rows_.begin();
  }
  auto end() { return rows_.end(); }
  auto begin() const { return rows_.begin(); }
  auto end() const { return rows_.end(); }

  // The first row with this hash that fits, or null. What its hashes are made of must not be changed.
  template <class F>
  Row* FindFirst(uint64_t hash, F&& fits) {
    for (auto it = index_.lower_bound({hash, 0}); it != index_.end() && it->first == hash; ++it) {
      Row& row = rows_[it->second - first_];
      if (!fits(row)) continue;
      ++changes_;
      return &row;
    }
    return nullptr;
  }
  // Gives the first row that shows `address` the name of that address.
  void NameFirst(std::string_view address, std::string_view name) {
    const uint64_t hash = SpreadHash(address);
    for (auto it = index_.lower_bound({hash, 0}); it != index_.end() && it->first == hash; ++it) {
      const uint64_t number = it->second;
      Row& row = rows_[number - first_];
      if (row.dns != address) continue;
      index_.erase(it);
      row.dns = name;
      index_.emplace(SpreadHash(row.dns), number);
      ++changes_;
      return;
    }
  }

 private:
  void DropFront() {
    for (const uint64_t hash : rows_.front().Hashes()) index_.erase({hash, first_});
    text_bytes_ -= rows_.front().counted_text;
    rows_.pop_front();
    ++first_;
    ++dropped_;
  }
  std::deque<Row> rows_;
  uint64_t first_ = 0;                             // The number of rows_.front().
  std::set<std::pair<uint64_t, uint64_t>> index_;  // Hashes of rows with the rows' numbers, so that the first is first.
  size_t text_bytes_ = 0;
  uint64_t dropped_ = 0;
  uint64_t changes_ = 0;
};

}  // namespace vantry
