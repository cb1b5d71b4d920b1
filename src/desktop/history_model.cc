#include "desktop/history_model.h"

#include <algorithm>
#include <numeric>

#include "core/text.h"
#include "desktop/list_text.h"
#include "desktop/shown_text.h"

namespace vantry {

void HistoryModel::Show(std::unique_ptr<HistoryList> list) {
  beginResetModel();
  list_ = std::move(list);
  order_.clear();
  seen_ = 0;
  wanted_ = needle_.empty() && sort_column_ < 0 ? kRowsAtFirst : SIZE_MAX;
  sorted_ = stopped_ = false;
  endResetModel();
}

bool HistoryModel::Wants() const {
  if (!list_ || (Whole() && (sort_column_ < 0 || sorted_))) return false;
  return seen_ < wanted_;
}

Status HistoryModel::Step(size_t rows) {
  Status status;
  if (seen_ == list_->Rows() && !list_->Ended()) status = list_->Step(rows);
  Take(rows);
  if (Whole() && sort_column_ >= 0 && !sorted_) SortRows();
  return status;
}

void HistoryModel::Take(size_t rows) {
  const size_t end = std::min(list_->Rows(), seen_ + rows);
  std::vector<uint32_t> more;
  for (; seen_ < end; ++seen_) {
    if (Fits(seen_)) more.push_back(static_cast<uint32_t>(seen_));
  }
  if (more.empty()) return;
  const int first = rowCount();
  beginInsertRows({}, first, first + static_cast<int>(more.size()) - 1);
  order_.insert(order_.end(), more.begin(), more.end());
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
  order_.clear();
  seen_ = 0;
  sorted_ = false;
  endResetModel();
  Want();
  if (on_wish) on_wish();
}

void HistoryModel::sort(int column, Qt::SortOrder order) {
  sort_column_ = column;
  sort_order_ = order;
  sorted_ = false;
  if (!list_) return;
  if (column < 0) {
    beginResetModel();
    std::sort(order_.begin(), order_.end());
    endResetModel();
    return;
  }
  Want();
  if (on_wish) on_wish();
}

// Equal rows stay in the order of the list.
void HistoryModel::SortRows() {
  const auto c = static_cast<size_t>(sort_column_);
  const bool down = sort_order_ == Qt::DescendingOrder;
  beginResetModel();
  std::sort(order_.begin(), order_.end());
  if (list_->Columns()[c].kind == CellKind::kText) {
    std::vector<std::string> texts(list_->Rows());
    for (const uint32_t row : order_) texts[row] = Lower(list_->Text(row, c));
    std::stable_sort(order_.begin(), order_.end(),
                     [&](uint32_t a, uint32_t b) { return down ? texts[b] < texts[a] : texts[a] < texts[b]; });
  } else {
    std::vector<int64_t> numbers(list_->Rows());
    for (const uint32_t row : order_) numbers[row] = list_->Number(row, c);
    std::stable_sort(order_.begin(), order_.end(),
                     [&](uint32_t a, uint32_t b) { return down ? numbers[b] < numbers[a] : numbers[a] < numbers[b]; });
  }
  sorted_ = true;
  endResetModel();
}

int HistoryModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(order_.size());
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
