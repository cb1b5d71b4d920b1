// The lists as grids for reports. What a report needs comes from the lists' descriptions and the rows' hidden flags
// alone, so it is the same whether a window shows them or not.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/lists.h"
#include "core/tables.h"
#include "notify/report_grid.h"

namespace vantry {

// The width of a character of a description. The trace's first columns, 8 and 7 characters, are known to be 800 and
// about 700 twips wide.
inline constexpr int kTwipsPerCharacter = 100;

// The last column of a list has no width of its own: on a screen it takes what is left. Here it gets this much.
inline constexpr int kLastColumnCharacters = 40;

inline bool IsHidden(const VisitorRec& row) {
  return row.Hidden;
}
// Pages come by visitor: whoever lists them has chosen.
inline bool IsHidden(const PageRow&) {
  return false;
}
template <class Row>
bool IsHidden(const Row& row) {
  return row.hidden;
}

// Rows of a list below its headings. The rows are not copied: they must stay as they are while a report is made.
template <class Row>
class ListGrid final : public ReportGrid {
 public:
  ListGrid(const ListDescription<Row>& list, const ListTexts& with, std::vector<const Row*> rows)
      : list_(list), with_(with), rows_(std::move(rows)) {}

  int Rows() const override { return static_cast<int>(rows_.size()) + 1; }
  int Columns() const override { return static_cast<int>(list_.columns.size()); }
  std::string Text(int row, int column) const override {
    const auto c = static_cast<size_t>(column);
    return row == 0 ? std::string(list_.columns[c].heading)
                    : list_.Text(*rows_[static_cast<size_t>(row - 1)], c, with_);
  }
  bool RowHidden(int row) const override { return row > 0 && IsHidden(*rows_[static_cast<size_t>(row - 1)]); }
  bool ColumnHidden(int column) const override {
    return with_.t.CurrentView > 0 && static_cast<size_t>(column) == list_.site_column;
  }
  int ColumnWidth(int column) const override {
    const bool last = column + 1 == Columns();
    return (last ? kLastColumnCharacters : list_.columns[static_cast<size_t>(column)].width) * kTwipsPerCharacter;
  }
  // A heading without a mark leaves its column to the general way.
  GridAlign Alignment(int column) const override {
    const Align align = list_.columns[static_cast<size_t>(column)].align;
    if (align == Align::kLeft) return GridAlign::kGeneral;
    return align == Align::kRight ? GridAlign::kRight : GridAlign::kCentre;
  }

 private:
  const ListDescription<Row>& list_;
  ListTexts with_;
  std::vector<const Row*> rows_;
};

// The list that a view shows, by ViewType; visitors for any other number. Holds the list's rows as they are now.
std::unique_ptr<ReportGrid> GridOfView(int view_type, const ListTexts& with);

}  // namespace vantry
