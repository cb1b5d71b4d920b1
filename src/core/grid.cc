#include "core/grid.h"

#include <cstring>

namespace vantry {

uint32_t GridRow::EndOf(size_t column) const {
  uint32_t end = 0;
  std::memcpy(&end, texts_.data() + column * sizeof end, sizeof end);
  return end;
}

void GridRow::SetEnd(size_t column, size_t end) {
  const auto number = static_cast<uint32_t>(end);
  std::memcpy(texts_.data() + column * sizeof number, &number, sizeof number);
}

std::string_view GridRow::Text(size_t column) const {
  const size_t from = column == 0 ? columns_ * sizeof(uint32_t) : EndOf(column - 1);
  return std::string_view(texts_).substr(from, EndOf(column) - from);
}

void GridRow::SetText(size_t column, std::string_view text) {
  const std::string_view old = Text(column);
  if (old == text) return;
  const size_t old_size = old.size();
  texts_.replace(static_cast<size_t>(old.data() - texts_.data()), old_size, text);
  for (size_t c = column; c < columns_; ++c) SetEnd(c, EndOf(c) - old_size + text.size());
}

void GridRow::SetTexts(std::initializer_list<std::string_view> texts) {
  size_t end = columns_ * sizeof(uint32_t), column = 0;
  for (const std::string_view text : texts) end += text.size();
  std::string all;
  all.reserve(end);
  all.resize(end = columns_ * sizeof(uint32_t));
  all.swap(texts_);
  for (const std::string_view text : texts) {
    texts_ += text;
    SetEnd(column++, end += text.size());
  }
}

CellMark& GridRow::MarkOf(size_t column) {
  for (CellMark& mark : marks_) {
    if (mark.column == static_cast<int16_t>(column)) return mark;
  }
  return marks_.emplace_back(CellMark{static_cast<int16_t>(column), kIconNone, kColourDefault});
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
  row->columns_ = static_cast<uint16_t>(columns_.size());
  row->texts_.resize(columns_.size() * sizeof(uint32_t));
  for (size_t c = 0; c < columns_.size(); ++c) row->SetEnd(c, row->texts_.size());
  row->sequence_ = next_sequence_++;
  row->slot_ = rows_.size();
  GridRow& added = *row;
  rows_.push_back(std::move(row));
  if (!key.empty()) by_key_.Add(SpreadHash(added.key_), added);
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
    if (row.Text(column) != text || row.key_ != key) return;
    if (!first || row.sequence_ < first->sequence_) first = &row;
  });
  return first;
}

void Grid::DeleteRow(GridRow& row) {
  if (!row.key_.empty()) by_key_.Remove(SpreadHash(row.key_), row);
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

}  // namespace vantry
