// The rows of a list as the window shows them: those of the current view that fit the search, in order of arrival or
// sorted. It holds their numbers alone; what a cell shows is made of the record when it is painted.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "desktop/list_needle.h"
#include "desktop/list_source.h"

namespace vantry {

// The icon of a slot of the image list.
using IconSource = std::function<QIcon(int16_t slot)>;
// Microseconds of a clock that never goes back.
using SteadyMicroseconds = std::function<int64_t()>;

// The engine's rows come and go at any time, even while a cell is painted. What the model shows changes in Refresh and
// in the calls of the operator alone; in between a row that is gone is empty.
class ListModel final : public QAbstractTableModel {
 public:
  // Searching and sorting again what has changed takes no more of the time than one part in this many, unless it is
  // done within kSoonDone.
  static constexpr int64_t kShareOfTime = 30;
  static constexpr int64_t kSoonDone = 2'000;

  ListModel(std::unique_ptr<RowSource> source, IconSource icons, SteadyMicroseconds now = {});

  RowSource& Source() { return *source_; }
  const RowSource& Source() const { return *source_; }
  size_t ShownRows() const { return shown_.size(); }
  uint64_t RowAt(size_t place) const { return shown_[place]; }
  // The place of this row, or of the first one after it in order of arrival; only while the list is not sorted.
  size_t PlaceByArrival(uint64_t row) const;
  // The places of these rows, which are in order, as far as they are shown; in the order of the list.
  std::vector<size_t> PlacesOf(const std::vector<uint64_t>& rows) const;

  // Takes over what has changed. At once, but for this: while the list is sorted or searched, new rows and changed
  // texts find their place when that costs little again.
  void Refresh();
  // The changes of texts in these rows, for those that are on the screen.
  void RefreshTexts(size_t first, size_t end);

  void Search(const Needle& needle, std::vector<bool> columns);
  const Needle& Searched() const { return needle_; }
  // -1: order of arrival.
  void Sort(int column, Qt::SortOrder order);
  int SortColumn() const { return sort_column_; }

  // Whole text of a cell as the log had it.
  std::string CellText(size_t place, size_t column) const { return source_->Text(shown_[place], column); }
  // The heading without the blanks around it; for a column without one, what people may call it.
  QString ColumnName(size_t column) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  bool Matches(uint64_t row) const;
  void RefreshAll();
  void RefreshQuickly();
  std::vector<uint64_t> Collected() const;
  void SortRows(std::vector<uint64_t>& rows) const;
  // Shows these rows in place of those shown, in the way that changes least.
  void Show(std::vector<uint64_t> rows);
  bool ShowByRuns(const std::vector<uint64_t>& rows);
  uint64_t HashOf(uint64_t row) const;
  QVariant Colours(uint64_t row, int role) const;

  std::unique_ptr<RowSource> source_;
  IconSource icons_;
  SteadyMicroseconds now_;
  std::vector<uint64_t> in_view_;  // All rows of the view, in order; kept while the list is sorted or searched.
  std::vector<uint64_t> fitting_;  // Those of them that fit the search; likewise.
  std::vector<uint64_t> shown_;
  Needle needle_;
  std::vector<bool> searched_columns_;
  int sort_column_ = -1;
  Qt::SortOrder order_ = Qt::AscendingOrder;
  std::optional<uint64_t> seen_;                          // The source's Changes when they were taken over.
  bool behind_ = false;                                   // New rows or changed texts wait for their place.
  int64_t due_ = 0;                                       // When they get it.
  std::vector<std::pair<uint64_t, uint64_t>> on_screen_;  // Rows, and a hash of what they showed.
};

}  // namespace vantry
