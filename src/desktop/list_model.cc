#include "desktop/list_model.h"

#include <QColor>
#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "core/hash_index.h"
#include "core/text.h"
#include "desktop/list_sort.h"
#include "desktop/list_text.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

// More runs of rows than this that go at once are told to the view as a new list.
constexpr size_t kMostRuns = 32;

int64_t SteadyNow() {
  using std::chrono::duration_cast;
  using std::chrono::microseconds;
  return duration_cast<microseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool Holds(const std::vector<uint64_t>& rows, uint64_t row) {
  return std::binary_search(rows.begin(), rows.end(), row);
}

}  // namespace

ListModel::ListModel(std::unique_ptr<RowSource> source, IconSource icons, SteadyMicroseconds now)
    : source_(std::move(source)),
      icons_(std::move(icons)),
      now_(now ? std::move(now) : SteadyNow),
      searched_columns_(source_->Columns(), true) {}

size_t ListModel::PlaceByArrival(uint64_t row) const {
  return static_cast<size_t>(std::lower_bound(shown_.begin(), shown_.end(), row) - shown_.begin());
}

std::vector<size_t> ListModel::PlacesOf(const std::vector<uint64_t>& rows) const {
  std::vector<size_t> places;
  if (rows.empty()) return places;
  for (size_t place = 0; place < shown_.size() && places.size() < rows.size(); ++place) {
    if (Holds(rows, shown_[place])) places.push_back(place);
  }
  return places;
}

void ListModel::Refresh() {
  const uint64_t changes = source_->Changes();
  const bool plain = needle_.empty() && sort_column_ < 0;
  if (seen_ == changes && !behind_) return;
  if (plain || now_() >= due_) {
    RefreshAll();
  } else if (seen_ != changes) {
    RefreshQuickly();
  }
  seen_ = changes;
}

std::vector<uint64_t> ListModel::Collected() const {
  std::vector<uint64_t> rows;
  rows.reserve(std::max(shown_.size(), in_view_.size()) + 64);
  source_->Collect(rows);
  return rows;
}

void ListModel::RefreshAll() {
  const int64_t begin = now_();
  behind_ = false;
  std::vector<uint64_t> rows = Collected();
  if (needle_.empty() && sort_column_ < 0) {
    std::vector<uint64_t>().swap(in_view_);
    std::vector<uint64_t>().swap(fitting_);
    Show(std::move(rows));
    return;
  }
  in_view_ = rows;
  std::erase_if(rows, [this](uint64_t row) { return !Matches(row); });
  fitting_ = rows;
  SortRows(rows);
  Show(std::move(rows));
  const int64_t end = now_();
  due_ = end - begin < kSoonDone ? end : end + (end - begin) * kShareOfTime;
}

// Rows that are gone go; new ones are looked at, and wait if the list is sorted.
void ListModel::RefreshQuickly() {
  behind_ = true;
  std::vector<uint64_t> in_view = Collected();
  std::vector<uint64_t> fitting, fresh, gone;
  std::set_difference(in_view.begin(), in_view.end(), in_view_.begin(), in_view_.end(), std::back_inserter(fresh));
  std::erase_if(fresh, [this](uint64_t row) { return !Matches(row); });
  std::set_difference(fitting_.begin(), fitting_.end(), in_view.begin(), in_view.end(), std::back_inserter(gone));
  std::set_difference(fitting_.begin(), fitting_.end(), gone.begin(), gone.end(), std::back_inserter(fitting));
  std::vector<uint64_t> rows;
  if (sort_column_ < 0) {
    std::merge(fitting.begin(), fitting.end(), fresh.begin(), fresh.end(), std::back_inserter(rows));
    fitting = rows;
  } else {
    // Those that wait are in neither of the two, so the next time they are new again.
    std::vector<uint64_t> known;
    std::set_difference(in_view.begin(), in_view.end(), fresh.begin(), fresh.end(), std::back_inserter(known));
    in_view.swap(known);
    rows = shown_;
    if (!gone.empty()) std::erase_if(rows, [&](uint64_t row) { return Holds(gone, row); });
  }
  in_view_.swap(in_view);
  fitting_.swap(fitting);
  Show(std::move(rows));
}

void ListModel::SortRows(std::vector<uint64_t>& rows) const {
  if (sort_column_ < 0) return;
  SortByColumn(*source_, static_cast<size_t>(sort_column_), order_ == Qt::DescendingOrder, rows);
}

bool ListModel::Matches(uint64_t row) const {
  if (needle_.empty()) return true;
  for (size_t column = 0; column < searched_columns_.size(); ++column) {
    if (searched_columns_[column] && needle_.In(source_->Text(row, column))) return true;
  }
  return false;
}

void ListModel::Search(const Needle& needle, std::vector<bool> columns) {
  needle_ = needle;
  searched_columns_ = std::move(columns);
  seen_ = source_->Changes();
  RefreshAll();
}

void ListModel::Sort(int column, Qt::SortOrder order) {
  sort_column_ = column;
  order_ = order;
  seen_ = source_->Changes();
  RefreshAll();
}

void ListModel::Show(std::vector<uint64_t> rows) {
  if (rows == shown_ || ShowByRuns(rows)) return;
  beginResetModel();
  shown_.swap(rows);
  if (shown_.capacity() / 4 > shown_.size() + 64) shown_.shrink_to_fit();
  endResetModel();
}

// Where some rows go and others come at the end, that is said; otherwise this does nothing.
bool ListModel::ShowByRuns(const std::vector<uint64_t>& rows) {
  if (shown_.empty() || rows.empty()) return false;
  std::vector<std::pair<int, int>> gone;  // First and last place of each run.
  size_t kept = 0;
  for (size_t place = 0; place < shown_.size(); ++place) {
    if (kept < rows.size() && shown_[place] == rows[kept]) {
      ++kept;
      continue;
    }
    const int at = static_cast<int>(place);
    if (!gone.empty() && gone.back().second == at - 1) {
      gone.back().second = at;
    } else {
      gone.emplace_back(at, at);
    }
    if (gone.size() > kMostRuns) return false;
  }
  // In the order of arrival new rows are newer than all others. Any other new rows came between those shown.
  const bool moved = kept < rows.size() && (sort_column_ >= 0 || rows[kept] <= shown_.back());
  if (kept == 0 || moved) return false;
  for (auto run = gone.rbegin(); run != gone.rend(); ++run) {
    beginRemoveRows({}, run->first, run->second);
    shown_.erase(shown_.begin() + run->first, shown_.begin() + run->second + 1);
    endRemoveRows();
  }
  if (kept == rows.size()) return true;
  beginInsertRows({}, static_cast<int>(kept), static_cast<int>(rows.size()) - 1);
  shown_.insert(shown_.end(), rows.begin() + static_cast<std::ptrdiff_t>(kept), rows.end());
  endInsertRows();
  return true;
}

uint64_t ListModel::HashOf(uint64_t row) const {
  uint64_t hash = source_->Colour(row);
  for (size_t column = 0; column < source_->Columns(); ++column) {
    hash = SpreadHash(source_->Text(row, column), hash + static_cast<uint64_t>(source_->Icon(row, column)));
  }
  return hash;
}

void ListModel::RefreshTexts(size_t first, size_t end) {
  std::vector<std::pair<uint64_t, uint64_t>> now;
  for (size_t place = first; place < std::min(end, shown_.size()); ++place) {
    const uint64_t row = shown_[place];
    now.emplace_back(row, HashOf(row));
    source_->Taken(row);
  }
  now.swap(on_screen_);
  for (size_t i = 0; i < on_screen_.size(); ++i) {
    const auto& [row, hash] = on_screen_[i];
    const auto before =
        std::find_if(now.begin(), now.end(), [&r = row](const auto& other) { return other.first == r; });
    if (before == now.end() || before->second == hash) continue;
    const int place = static_cast<int>(first + i);
    Q_EMIT dataChanged(index(place, 0), index(place, columnCount() - 1));
  }
}

QString ListModel::ColumnName(size_t column) const {
  const QString heading = ShownText(Trim(source_->Heading(column)));
  return heading.isEmpty() ? QStringLiteral("Column %1").arg(column + 1) : heading;
}

int ListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int ListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(source_->Columns());
}

QVariant ListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || static_cast<size_t>(index.row()) >= shown_.size()) return {};
  const uint64_t row = shown_[static_cast<size_t>(index.row())];
  const auto column = static_cast<size_t>(index.column());
  switch (role) {
    case Qt::DisplayRole:
      return ShownText(source_->Text(row, column));
    case Qt::DecorationRole: {
      const int16_t slot = source_->Icon(row, column);
      return slot != kIconNone && icons_ ? QVariant(icons_(slot)) : QVariant();
    }
    case Qt::TextAlignmentRole:
      return static_cast<int>(SideOf(source_->Side(column)) | Qt::AlignVCenter);
    case Qt::BackgroundRole:
    case Qt::ForegroundRole:
      return Colours(row, role);
    default:
      return {};
  }
}

QVariant ListModel::Colours(uint64_t row, int role) const {
  const std::optional<QColor> back = BackColour(source_->Colour(row));
  if (!back) return {};
  return role == Qt::BackgroundRole ? *back : ReadableOn(*back);
}

QVariant ListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) return {};
  const auto column = static_cast<size_t>(section);
  if (role == Qt::DisplayRole) return ShownText(Trim(source_->Heading(column)));
  if (role == Qt::AccessibleTextRole) return ColumnName(column);
  if (role == Qt::TextAlignmentRole) return static_cast<int>(SideOf(source_->Side(column)) | Qt::AlignVCenter);
  return {};
}

}  // namespace vantry
