#include "desktop/history_model.h"

#include <QElapsedTimer>
#include <algorithm>

#include "core/text.h"
#include "desktop/list_text.h"
#include "desktop/shown_text.h"

namespace vantry {

void HistoryModel::Show(std::unique_ptr<HistoryList> list) {
  beginResetModel();
  Forget();
  list_ = std::move(list);
  wanted_ = needle_.empty() && SortColumn() < 0 ? kRowsAtFirst : SIZE_MAX;
  stopped_ = false;
  endResetModel();
}

// No row was looked at.
void HistoryModel::Forget() {
  sort_.reset();
  rows_.clear();
  found_.clear();
  seen_ = 0;
  order_ = {};
}

bool HistoryModel::Wants() const {
  return list_ && seen_ < wanted_ && (!Whole() || !InOrder());
}

Status HistoryModel::Step(size_t rows) {
  Status status;
  if (IsSorting()) {
    Sort(rows);
    return status;
  }
  if (seen_ == list_->Rows() && !list_->Ended()) status = list_->Step(rows);
  Take(rows);
  return status;
}

Status HistoryModel::StepFor(int64_t ns, size_t rows) {
  QElapsedTimer timer;
  timer.start();
  Status status;
  if (!Wants()) return status;
  do {
    status = Step(rows);
  } while (status.ok() && Wants() && timer.nsecsElapsed() < ns);
  return status;
}

void HistoryModel::Stop() {
  ShowFound();
  sort_.reset();
  wanted_order_ = order_;
  wanted_ = seen_;
  stopped_ = true;
}

// Each time that rows are added their view lays itself out and paints, which takes longer than reading them did. So
// they are added when there are half as many as before, or no more to come for now.
void HistoryModel::Take(size_t rows) {
  const size_t end = std::min(list_->Rows(), seen_ + rows);
  for (; seen_ < end; ++seen_) {
    if (Fits(seen_)) found_.push_back(static_cast<uint32_t>(seen_));
  }
  if (2 * found_.size() >= rows_.size() || Whole() || seen_ >= wanted_) ShowFound();
}

void HistoryModel::ShowFound() {
  if (found_.empty()) return;
  const int first = rowCount();
  beginInsertRows({}, first, first + static_cast<int>(found_.size()) - 1);
  rows_.insert(rows_.end(), found_.begin(), found_.end());
  found_.clear();
  endInsertRows();
}

bool HistoryModel::Fits(size_t row) const {
  if (needle_.empty()) return true;
  for (size_t c = 0; c < list_->Columns().size(); ++c) {
    if (needle_.In(list_->Shown(row, c, &regional_))) return true;
  }
  return false;
}

void HistoryModel::Search(const QString& text) {
  if (text == needle_.Text()) return;
  needle_ = Needle(text);
  if (!list_) return;
  beginResetModel();
  Forget();
  endResetModel();
  Want();
  if (on_wish) on_wish();
}

void HistoryModel::sort(int column, Qt::SortOrder order) {
  sort_.reset();
  wanted_order_ = {column, column >= 0 && order == Qt::DescendingOrder};
  if (!list_ || InOrder()) return;
  Want();
  if (on_wish) on_wish();
}

void HistoryModel::Sort(size_t rows) {
  if (!sort_) sort_.emplace(*list_, wanted_order_.column, wanted_order_.descending, rows_);
  sort_->Step(rows);
  if (!sort_->Done()) return;
  beginResetModel();
  sort_->Give(rows_);
  sort_.reset();
  order_ = wanted_order_;
  endResetModel();
}

int HistoryModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int HistoryModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() || !list_ ? 0 : static_cast<int>(list_->Columns().size());
}

QVariant HistoryModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const size_t row = RowAt(index.row());
  const auto c = static_cast<size_t>(index.column());
  const HistoryColumn& column = list_->Columns()[c];
  switch (role) {
    case Qt::DisplayRole:
      return ShownText(list_->Shown(row, c, &regional_));
    case Qt::ToolTipRole:
      return PlainTip(ShownText(list_->Shown(row, c, &regional_)));
    case Qt::TextAlignmentRole:
      return QVariant::fromValue(static_cast<int>(SideOf(column.align) | Qt::AlignVCenter));
    case Qt::CheckStateRole:
      if (column.kind != CellKind::kCheck) return {};
      return list_->Number(row, c) != 0 ? Qt::Checked : Qt::Unchecked;
    case kShareRole:
      return column.has_bar ? QVariant(Share(row, c)) : QVariant();
    default:
      return {};
  }
}

// Of the highest count, which is that of the first row.
double HistoryModel::Share(size_t row, size_t column) const {
  const auto most = static_cast<double>(std::max<int64_t>(1, list_->Number(0, column)));
  return std::clamp(static_cast<double>(list_->Number(row, column)) / most, 0.0, 1.0);
}

QVariant HistoryModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || !list_ || section < 0 || section >= columnCount()) return {};
  const HistoryColumn& column = list_->Columns()[static_cast<size_t>(section)];
  if (role == Qt::DisplayRole) return ShownText(column.heading);
  if (role == Qt::TextAlignmentRole) {
    return QVariant::fromValue(static_cast<int>(SideOf(column.align) | Qt::AlignVCenter));
  }
  return {};
}

bool HistoryModel::canFetchMore(const QModelIndex& parent) const {
  return !parent.isValid() && list_ && !Whole() && !Wants() && !stopped_;
}

void HistoryModel::fetchMore(const QModelIndex&) {
  wanted_ = seen_ + kRowsMore;
  if (on_wish) on_wish();
}

}  // namespace vantry
