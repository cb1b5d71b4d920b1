// The row model of the lists people see: rows in order of arrival, each found by its key, with texts, icons and colours
// as numbers and a hidden flag. The rows of the alert, spider and exception grids are the only place where the day's
// lists live, so the model is part of the data even where no window is shown.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/date_time.h"
#include "core/pointer_index.h"

namespace vantry {

enum class Align : uint8_t { kLeft, kRight, kCentre };

struct GridColumn {
  std::string_view title;
  Align align = Align::kLeft;
};

// Slots of the image list. Those that other rules name by number keep it.
enum Icon : int16_t {
  kIconNone = 0,
  kIconNewVisitor = 3,
  kIconIdle = 4,
  kIconRepeatVisitor = 5,
  kIconFailedRequest = 12,
  kIconKnownName = 17,
  kIconGroup = 19,
  kIconSuspect = 22,
  kIconBrowserOther = 30,
  kIconBrowserIE = 31,
  kIconBrowserNS = 32,
  kIconBrowserOP = 33,
  kIconSpider = 34,
  kIconSiteIdle = 40,
  kIconSiteIdleProxy = 41,
  kIconSiteScanning = 42,
};

// Colours are 32-bit numbers with red in the lowest byte.
inline constexpr uint32_t kColourDefault = 0xFFFFFFFF;
inline constexpr uint32_t kColourAlarm = 0x000000FF;

// An icon or colour of one cell; most cells have neither.
struct CellMark {
  int16_t column = 0;
  int16_t icon = kIconNone;
  uint32_t colour = kColourDefault;
};

class GridRow {
 public:
  const std::string& Key() const { return key_; }
  // Holds until a text of this row is set.
  std::string_view Text(size_t column) const;
  void SetText(size_t column, std::string_view text);
  // All texts at once, from the first column on, one for each.
  void SetTexts(std::initializer_list<std::string_view> texts);
  int16_t IconOf(size_t column) const;
  void SetIcon(size_t column, int16_t icon);
  uint32_t ColourOf(size_t column) const;
  void SetColour(size_t column, uint32_t colour);
  // Grows with each row that arrives in the grid.
  uint64_t Arrival() const { return sequence_; }

  int16_t site = 0;                      // The site the row belongs to, 0 for none.
  bool hidden = false;                   // Not shown in the current view.
  int16_t row_icon = kIconNone;          // Icon of the row as a whole.
  uint32_t row_colour = kColourDefault;  // Background of the row as a whole.
  LogTime when;                          // The moment the row tells of; pages show today's rows only.

 private:
  friend class Grid;
  CellMark& MarkOf(size_t column);
  uint32_t EndOf(size_t column) const;
  void SetEnd(size_t column, size_t end);
  std::string key_;
  // Where each text ends, as numbers of 4 bytes, then the texts one behind the other: a day can have a million rows,
  // and a piece of memory for each cell would cost more than what stands in it.
  std::string texts_;
  std::vector<CellMark> marks_;
  uint16_t columns_ = 0;
  uint64_t sequence_ = 0;
  size_t slot_ = 0;
};

class Grid {
 public:
  explicit Grid(std::span<const GridColumn> columns) : columns_(columns) {}

  std::span<const GridColumn> Columns() const { return columns_; }
  size_t RowCount() const { return count_; }  // Data rows, without the header.

  // Adds an empty row at the end. The reference holds until the row is deleted. A row with an empty key is not found
  // by key.
  GridRow& AddRow(std::string_view key);
  // The first row (by arrival) with this key, or null.
  GridRow* FindRow(std::string_view key);
  // The first row with this key that has this text in the column, or null.
  GridRow* FindRow(std::string_view key, size_t column, std::string_view text);
  void DeleteRow(GridRow& row);
  void Clear();

  // Calls `f(GridRow&)` for every row in order of arrival. `f` may delete the row it was given.
  template <class F>
  void ForEach(F&& f) {
    for (size_t i = 0; i < rows_.size(); ++i) {
      if (rows_[i]) f(*rows_[i]);
    }
  }
  template <class F>
  void ForEach(F&& f) const {
    for (const auto& row : rows_) {
      if (row) f(static_cast<const GridRow&>(*row));
    }
  }

 private:
  void CloseGaps();
  std::span<const GridColumn> columns_;
  // Deleted rows leave a gap that AddRow closes in one pass once gaps prevail, so n deletions are not n shifts.
  std::vector<std::unique_ptr<GridRow>> rows_;
  PointerIndex<GridRow> by_key_;
  size_t count_ = 0;
  uint64_t next_sequence_ = 0;
};

// Column numbers and headers of the grids.
namespace vs_grid {
enum Column { kSite, kKey, kNo, kVisit, kDns, kOnPage, kStartTime, kLastTime, kBrowser, kLoc, kReferrer, kCount };
extern const GridColumn kColumns[kCount];
}  // namespace vs_grid
namespace log_grid {
enum Column { kSn, kSite, kNo, kAlert, kVisit, kDns, kDateTime, kPage, kMinsOnSite, kLoc, kReferrer, kCount };
extern const GridColumn kColumns[kCount];
}  // namespace log_grid
namespace spider_grid {
enum Column { kSn, kSite, kNo, kVisit, kDns, kEngine, kDateTime, kPage, kLoc, kReferrer, kCount };
extern const GridColumn kColumns[kCount];
}  // namespace spider_grid

}  // namespace vantry
