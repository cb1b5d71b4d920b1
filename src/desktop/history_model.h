// The rows of a list of the history as a window shows them: they come while one scrolls. Searching and sorting need all
// of them, and read on until there are no more. A sort goes on in steps as well; until it is done, the rows stay as
// they are.
#pragma once

#include <QAbstractTableModel>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "core/regional.h"
#include "desktop/history_sort.h"
#include "desktop/list_needle.h"
#include "views/history_list.h"

namespace vantry {

// What a turn of the loop reads: for so long, or less while a scan has turned it, which has the longer part of the time
// then; and steps of so many rows.
struct HistoryPace {
  int64_t ns = 8'000'000, in_scan_ns = 200'000;
  size_t rows_a_step = 64;
};

class HistoryModel final : public QAbstractTableModel {
 public:
  static constexpr size_t kRowsAtFirst = 200, kRowsMore = 1000;
  // How large a count is, from 0 to 1, for its bar.
  static constexpr int kShareRole = Qt::UserRole + 1;

  explicit HistoryModel(const Regional& regional, QObject* parent) : QAbstractTableModel(parent), regional_(regional) {}

  // From now on the rows of this list, which the model keeps; its sort and its search stay.
  void Show(std::unique_ptr<HistoryList> list);
  const HistoryList& List() const { return *list_; }
  bool HasList() const { return list_ != nullptr; }

  // Whether rows are wanted that are not there yet, or another order of those that are.
  bool Wants() const;
  // Reads on by so many rows of the tables, looks at so many that were read, or sorts so many.
  Status Step(size_t rows);
  // Goes on for this long, but by a step of so many rows at least.
  Status StepFor(int64_t ns, size_t rows);
  // All rows are wanted, or so many.
  void Want(size_t rows = SIZE_MAX) {
    wanted_ = std::max(wanted_, rows);
    stopped_ = false;
  }
  // No more rows are wanted, however far one scrolls, and no other order than there is.
  void Stop();
  bool Whole() const { return list_->Ended() && seen_ == list_->Rows(); }
  bool InOrder() const { return wanted_order_ == order_; }
  bool IsSorting() const { return Whole() && !InOrder(); }

  size_t Seen() const { return seen_; }
  size_t Shown() const { return rows_.size(); }
  // The row of the list that is shown at this place.
  size_t RowAt(int place) const { return rows_[static_cast<size_t>(place)]; }

  void Search(const QString& text);
  bool IsSearched() const { return !needle_.empty(); }
  // As was asked for last.
  int SortColumn() const { return wanted_order_.column; }
  Qt::SortOrder SortOrder() const { return wanted_order_.descending ? Qt::DescendingOrder : Qt::AscendingOrder; }

  std::function<void()> on_wish;  // More rows are wanted than before, or another order.

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  bool canFetchMore(const QModelIndex& parent) const override;
  void fetchMore(const QModelIndex& parent) override;
  void sort(int column, Qt::SortOrder order) override;

 private:
  struct Order {
    int column = -1;  // Below 0: as the list has its rows.
    bool descending = false;
    bool operator==(const Order& other) const = default;
  };

  bool Fits(size_t row) const;
  void Forget();
  void Take(size_t rows);
  void ShowFound();
  void Sort(size_t rows);
  double Share(size_t row, size_t column) const;

  const Regional& regional_;
  std::unique_ptr<HistoryList> list_;
  std::vector<uint32_t> rows_;   // Those of the list that are shown.
  std::vector<uint32_t> found_;  // Those that follow.
  size_t seen_ = 0;              // How many of the list's rows were looked at.
  size_t wanted_ = kRowsAtFirst;
  Needle needle_;
  Order order_, wanted_order_;  // How the rows are shown, and how they are to be.
  std::optional<HistorySort> sort_;
  bool stopped_ = false;
};

}  // namespace vantry
