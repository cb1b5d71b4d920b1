// A list of the history as a report sees it: what its window shows.
#pragma once

#include <string>

#include "core/regional.h"
#include "desktop/history_model.h"
#include "notify/list_grid.h"
#include "notify/report_grid.h"

namespace vantry {

class HistoryGrid final : public ReportGrid {
 public:
  HistoryGrid(const HistoryModel& model, const Regional& regional) : model_(model), regional_(regional) {}

  int Rows() const override { return model_.rowCount() + 1; }
  int Columns() const override { return model_.columnCount(); }
  std::string Text(int row, int column) const override {
    const auto c = static_cast<size_t>(column);
    return row == 0 ? model_.List().Columns()[c].heading : model_.List().Shown(model_.RowAt(row - 1), c, &regional_);
  }
  int ColumnWidth(int column) const override {
    const bool last = column + 1 == Columns();
    return (last ? kLastColumnCharacters : Of(column).width) * kTwipsPerCharacter;
  }
  GridAlign Alignment(int column) const override {
    const Align align = Of(column).align;
    if (align == Align::kLeft) return GridAlign::kGeneral;
    return align == Align::kRight ? GridAlign::kRight : GridAlign::kCentre;
  }
  GridData DataType(int column) const override {
    return Of(column).kind == CellKind::kCheck ? GridData::kBoolean : GridData::kOther;
  }
  bool Checked(int row, int column) const override {
    return row > 0 && model_.List().Number(model_.RowAt(row - 1), static_cast<size_t>(column)) != 0;
  }

 private:
  const HistoryColumn& Of(int column) const { return model_.List().Columns()[static_cast<size_t>(column)]; }

  const HistoryModel& model_;
  const Regional& regional_;
};

}  // namespace vantry
