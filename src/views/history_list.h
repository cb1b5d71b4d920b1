// Lists made from the history: what columns they have, and rows that come step by step. Windows and the command line
// show the same lists.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/date_time.h"
#include "core/look.h"
#include "core/regional.h"
#include "core/status.h"

namespace vantry {

enum class CellKind : uint8_t {
  kText,
  kNumber,
  kVisitNo,  // A number of five digits.
  kDay,      // A day's number, 0 for none.
  kCheck,    // 1 or 0: a mark or nothing.
  kYes,      // 1 or 0: "Yes" or nothing.
};

struct HistoryColumn {
  std::string heading;
  int width = 0;  // In characters.
  Align align = Align::kLeft;
  CellKind kind = CellKind::kText;
  std::string_view key = {};  // Its name for programs.
  bool has_bar = false;       // A count that is drawn as a bar, too.
};

// What a column has besides its heading.
struct ColumnKey {
  std::string_view key;
  CellKind kind = CellKind::kText;
  bool has_bar = false;
};

// Columns of a header text: headings with "|" between them, ">" before one at the right and "^" before one in the
// middle; the blanks behind it are its width.
std::vector<HistoryColumn> ParseColumns(std::string_view header, const std::vector<ColumnKey>& keys);

class HistoryList {
 public:
  using Cell = std::variant<std::string_view, int64_t>;

  HistoryList(std::vector<HistoryColumn> columns, std::string title)
      : columns_(std::move(columns)), title_(std::move(title)) {}
  virtual ~HistoryList() = default;
  HistoryList(const HistoryList&) = delete;
  HistoryList& operator=(const HistoryList&) = delete;

  const std::string& Title() const { return title_; }
  const std::vector<HistoryColumn>& Columns() const { return columns_; }

  // Reads on: looks at about so many rows of the tables, whatever they give. After a failure the list has ended, with
  // the rows that it has.
  virtual Status Step(size_t rows) = 0;
  virtual bool Ended() const = 0;

  size_t Rows() const { return places_.size(); }
  // What a cell of text holds, as the tables have it.
  std::string_view Text(size_t row, size_t column) const;
  // What any other cell holds.
  int64_t Number(size_t row, size_t column) const;
  // The cell as it is shown: dates as people here write them, or as "2026-03-05" without a format.
  std::string Shown(size_t row, size_t column, const Regional* regional) const;

 protected:
  // Adds a row; as many cells as columns.
  void Add(const std::vector<Cell>& cells);

 private:
  size_t PlaceOf(size_t row, size_t column) const;

  std::vector<HistoryColumn> columns_;
  std::string title_;
  std::string cells_;           // Of all rows: a million of them must fit into little memory.
  std::vector<size_t> places_;  // Where each row begins.
};

// "2026-03-05".
std::string IsoDate(Day day);

}  // namespace vantry
