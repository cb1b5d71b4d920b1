// A table as a report sees it: what it looks like on the screen, asked cell by cell. A plain list answers three
// questions and leaves the others as they are.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vantry {

// How the texts of a column stand in their cells; the general way goes by the data.
enum class GridAlign : uint8_t {
  kLeftTop,
  kLeft,
  kLeftBottom,
  kCentreTop,
  kCentre,
  kCentreBottom,
  kRightTop,
  kRight,
  kRightBottom,
  kGeneral
};

enum class GridData : uint8_t { kOther, kDate, kBoolean };

struct GridFont {
  bool bold = false, italic = false, underline = false;
};

// The cells that are shown as one; both ends belong to it.
struct GridRange {
  int top = 0, left = 0, bottom = 0, right = 0;
};

// Rows and columns count from 0, the fixed ones first and included. Widths and heights are in twips (1,440 an inch) and
// never negative.
class ReportGrid {
 public:
  virtual ~ReportGrid() = default;
  virtual int Rows() const = 0;
  virtual int Columns() const = 0;
  // Any bytes; they are read as Windows-1252.
  virtual std::string Text(int row, int column) const = 0;

  // Headings: they look raised.
  virtual int FixedRows() const { return 1; }
  virtual int FixedColumns() const { return 0; }
  virtual bool RowHidden(int) const { return false; }
  virtual bool ColumnHidden(int) const { return false; }
  virtual int RowHeight(int) const { return 240; }
  virtual int ColumnWidth(int) const { return 1'000; }
  // Of the place that the grid has on the screen; 0 without one.
  virtual int ClientWidth() const { return 0; }
  // The merged cells that this cell belongs to, or the cell alone.
  virtual GridRange Merged(int row, int column) const { return {row, column, row, column}; }
  virtual GridFont Font(int, int) const { return {}; }
  virtual GridAlign Alignment(int) const { return GridAlign::kGeneral; }
  virtual GridData DataType(int) const { return GridData::kOther; }
  // Of a cell in a boolean column.
  virtual bool Checked(int, int) const { return false; }
  // The column that shows the grid's outline; empty when it has none.
  virtual std::optional<int> OutlineColumn() const { return std::nullopt; }
  // The level of a row that is a node of the outline; empty for other rows.
  virtual std::optional<int> OutlineLevel(int) const { return std::nullopt; }
};

}  // namespace vantry
