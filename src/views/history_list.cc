#include "views/history_list.h"

#include <algorithm>
#include <cstring>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kMostText = 255;
constexpr int kVisitNoWidth = 5;

}  // namespace

std::string IsoDate(Day day) {
  const std::string key = FormatDayKey(day);
  return key.substr(0, 4) + "-" + key.substr(4, 2) + "-" + key.substr(6);
}

std::vector<HistoryColumn> ParseColumns(std::string_view header, const std::vector<ColumnKey>& keys) {
  std::vector<HistoryColumn> columns;
  for (std::string_view text : Split(header, '|')) {
    HistoryColumn column;
    if (StartsWith(text, ">")) column.align = Align::kRight;
    if (StartsWith(text, "^")) column.align = Align::kCentre;
    if (column.align != Align::kLeft) text.remove_prefix(1);
    column.width = static_cast<int>(text.size());
    column.heading = Trim(text);
    if (columns.size() < keys.size()) {
      const ColumnKey& key = keys[columns.size()];
      column.key = key.key;
      column.kind = key.kind;
      column.has_bar = key.has_bar;
    }
    columns.push_back(std::move(column));
  }
  return columns;
}

void HistoryList::Add(const std::vector<Cell>& cells) {
  places_.push_back(cells_.size());
  for (const Cell& cell : cells) {
    if (const auto* text = std::get_if<std::string_view>(&cell)) {
      const std::string_view kept = text->substr(0, kMostText);
      cells_.push_back(static_cast<char>(kept.size()));
      cells_.append(kept);
    } else {
      const int64_t number = std::get<int64_t>(cell);
      char bytes[sizeof number];
      std::memcpy(bytes, &number, sizeof number);
      cells_.append(bytes, sizeof bytes);
    }
  }
}

size_t HistoryList::PlaceOf(size_t row, size_t column) const {
  size_t at = places_[row];
  for (size_t c = 0; c < column; ++c) {
    at += columns_[c].kind == CellKind::kText ? 1 + static_cast<unsigned char>(cells_[at]) : sizeof(int64_t);
  }
  return at;
}

std::string_view HistoryList::Text(size_t row, size_t column) const {
  const size_t at = PlaceOf(row, column);
  return std::string_view(cells_).substr(at + 1, static_cast<unsigned char>(cells_[at]));
}

int64_t HistoryList::Number(size_t row, size_t column) const {
  int64_t number = 0;
  std::memcpy(&number, cells_.data() + PlaceOf(row, column), sizeof number);
  return number;
}

std::string HistoryList::Shown(size_t row, size_t column, const Regional* regional) const {
  const CellKind kind = columns_[column].kind;
  if (kind == CellKind::kText) return std::string(Text(row, column));
  const int64_t number = Number(row, column);
  switch (kind) {
    case CellKind::kVisitNo:
      return PadNumber(number, kVisitNoWidth);
    case CellKind::kDay:
      if (number == 0) return {};
      return regional ? regional->ShortDate(Day{number}) : IsoDate(Day{number});
    case CellKind::kCheck:
      return number != 0 ? "Y" : "";
    case CellKind::kYes:
      return number != 0 ? "Yes" : "";
    default:
      return std::to_string(number);
  }
}

}  // namespace vantry
