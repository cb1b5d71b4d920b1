#include "core/grid.h"

namespace vantry {

CellMark& GridRow::MarkOf(size_t column) {
  for (CellMark& mark : marks_) {
    if (mark.column == static_cast<int16_t>(column)) return mark;
  }
  marks_.push_back({static_cast<int16_t>(column), kIconNone, kColourDefault});
  return marks_.back();
}

int16_t GridRow::IconOf(size_t column) const {
  for (const CellMark& mark : marks_) {
    if (mark.column == static_cast<int16_t>(column)) return mark.icon;
  }
  return kIconNone;
}

uint32_t GridRow::ColourOf(size_t column) const {
  for (const CellMark& mark : marks_) {
    if (mark.column == static_cast<int16_t>(column)) return mark.colour;
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
  by_key_.emplace(added.key_, &added);
  ++count_;
  return added;
}

GridRow* Grid::FindRow(std::string_view key) {
  GridRow* first = nullptr;
  const auto [begin, end] = by_key_.equal_range(key);
  for (auto it = begin; it != end; ++it) {
    if (!first || it->second->sequence_ < first->sequence_) first = it->second;
  }
  return first;
}

void Grid::DeleteRow(GridRow& row) {
  const auto [begin, end] = by_key_.equal_range(row.key_);
  for (auto it = begin; it != end; ++it) {
    if (it->second == &row) {
      by_key_.erase(it);
      break;
    }
  }
  --count_;
  rows_[row.slot_].reset();
}

void Grid::Clear() {
  by_key_.clear();
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
