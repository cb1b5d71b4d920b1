#include "core/grid.h"

namespace vantry {

CellMark& GridRow::MarkOf(size_t column) {
  for (size_t i = 0; i < mark_count_; ++i) {
    if (marks_[i].column == static_cast<int16_t>(column)) return marks_[i];
  }
  // No row has more; a fifth would replace the fourth.
  CellMark& mark = marks_[mark_count_ < kMaxMarks ? mark_count_++ : kMaxMarks - 1];
  mark = {static_cast<int16_t>(column), kIconNone, kColourDefault};
  return mark;
}

int16_t GridRow::IconOf(size_t column) const {
  for (size_t i = 0; i < mark_count_; ++i) {
    if (marks_[i].column == static_cast<int16_t>(column)) return marks_[i].icon;
  }
  return kIconNone;
}

uint32_t GridRow::ColourOf(size_t column) const {
  for (size_t i = 0; i < mark_count_; ++i) {
    if (marks_[i].column == static_cast<int16_t>(column)) return marks_[i].colour;
  }
  return kColourDefault;
}

void GridRow::SetIcon(size_t column, int16_t icon) {
  if (icon != IconOf(column)) MarkOf(column).icon = icon;
}

void GridRow::SetColour(size_t column, uint32_t colour) {
  if (colour != ColourOf(column)) MarkOf(column).colour = colour;
}

GridRow& Grid::AddRow(std::string_view key) {
  if (rows_.size() > 64 && count_ < rows_.size() / 2) CloseGaps();
  auto row = std::make_unique<GridRow>();
  row->key_ = key;
  row->cells_.resize(columns_.size());
  row->sequence_ = next_sequence_++;
  row->slot_ = rows_.size();
  GridRow& added = *row;
  rows_.push_back(std::move(row));
  by_key_.Add(SpreadHash(added.key_), added);
  ++count_;
  return added;
}

GridRow* Grid::FindRow(std::string_view key) {
  GridRow* first = nullptr;
  by_key_.ForEach(SpreadHash(key), [&](GridRow& row) {
    if (row.key_ == key && (!first || row.sequence_ < first->sequence_)) first = &row;
  });
  return first;
}

GridRow* Grid::FindRow(std::string_view key, size_t column, std::string_view text) {
  GridRow* first = nullptr;
  by_key_.ForEach(SpreadHash(key), [&](GridRow& row) {
    if (row.cells_[column] != text || row.key_ != key) return;
    if (!first || row.sequence_ < first->sequence_) first = &row;
  });
  return first;
}

void Grid::DeleteRow(GridRow& row) {
  by_key_.Remove(SpreadHash(row.key_), row);
  --count_;
  rows_[row.slot_].reset();
}

void Grid::Clear() {
  by_key_.Clear();
  rows_.clear();
  count_ = 0;
}

void Grid::CloseGaps() {
  std::erase_if(rows_, [](const auto& row) { return !row; });
  for (size_t i = 0; i < rows_.size(); ++i) rows_[i]->slot_ = i;
}

namespace vs_grid {
const GridColumn kColumns[kCount] = {{"Site"},
                                     {" Key", Align::kCentre},
                                     {"No", Align::kRight},
                                     {"Visit", Align::kRight},
                                     {"DNS"},
                                     {"On Page"},
                                     {"Start Time", Align::kCentre},
                                     {"Last Time", Align::kCentre},
                                     {"Browser"},
                                     {"Loc"},
                                     {"Referrer"}};
}  // namespace vs_grid
namespace log_grid {
const GridColumn kColumns[kCount] = {{"SN"},
                                     {"Site"},
                                     {"No", Align::kRight},
                                     {"Alert", Align::kRight},
                                     {"Visit", Align::kRight},
                                     {"DNS"},
                                     {"Date/Time", Align::kCentre},
                                     {"Page"},
                                     {"Mins On Site", Align::kRight},
                                     {"Loc"},
                                     {"Referrer"}};
}  // namespace log_grid
namespace spider_grid {
const GridColumn kColumns[kCount] = {
    {"SN"},          {"Site"},          {"No", Align::kRight},         {"Visit", Align::kRight},
    {" Spider DNS"}, {"Search Engine"}, {"Date/Time", Align::kCentre}, {"Page"},
    {"Loc"},         {"Referrer"}};
}  // namespace spider_grid
namespace ex_grid {
const GridColumn kColumns[kCount] = {
    {"SN"}, {"Site"}, {"No", Align::kRight}, {"Number", Align::kRight}, {"Date/Time", Align::kCentre}, {" Details"}};
}  // namespace ex_grid

}  // namespace vantry
