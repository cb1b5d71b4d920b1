// The rows of a list of the history as a window shows them: they come while one scrolls. Searching and sorting need all
// of them, and read on until there are no more.
#pragma once

#include <QAbstractTableModel>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "core/regional.h"
#include "desktop/list_needle.h"
#include "views/history_list.h"

namespace vantry {

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

  // Whether rows are wanted that are not there yet.
  bool Wants() const;
  // Reads on by so many rows of the tables, or looks at so many that were read.
  Status Step(size_t rows);
  // All rows are wanted, or so many.
  void Want(size_t rows = SIZE_MAX) {
    wanted_ = std::max(wanted_, rows);
    stopped_ = false;
  }
  // No more rows are wanted, however far one scrolls.
  void Stop() {
    wanted_ = seen_;
    stopped_ = true;
  }
  bool Whole() const { return list_->Ended() && seen_ == list_->Rows(); }

  size_t Seen() const { return seen_; }
  size_t Shown() const { return order_.size(); }
  // The row of the list that is shown at this place.
  size_t RowAt(int place) const { return order_[static_cast<size_t>(place)]; }

  void Search(const QString& text);
  bool IsSearched() const { return !needle_.empty(); }
  int SortColumn() const { return sort_column_; }
  Qt::SortOrder SortOrder() const { return sort_order_; }

  std::function<void()> on_wish;  // More rows are wanted than before.

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  bool canFetchMore(const QModelIndex& parent) const override;
  void fetchMore(const QModelIndex& parent) override;
  void sort(int column, Qt::SortOrder order) override;

 private:
  bool Fits(size_t row) const;
  void Take(size_t rows);
  void SortRows();
  double Share(size_t row, size_t column) const;

  const Regional& regional_;
  std::unique_ptr<HistoryList> list_;
  std::vector<uint32_t> order_;  // The rows that are shown.
  size_t seen_ = 0;              // How many of the list's rows were looked at.
  size_t wanted_ = kRowsAtFirst;
  Needle needle_;
  int sort_column_ = -1;
  Qt::SortOrder sort_order_ = Qt::AscendingOrder;
  bool sorted_ = false, stopped_ = false;
};

}  // namespace vantry
