// Text for a terminal: made harmless, measured in columns, set in tables.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// The text with everything that could steer a terminal or spoil its columns replaced by "?": control characters, bytes
// that are no UTF-8, marks that change direction or have no width.
std::string Printable(std::string_view bytes);

// Columns that a printable text takes on a terminal.
int DisplayWidth(std::string_view printable);

// The printable text in at most `width` columns (1 or more); what was cut shows as "…" at the end.
std::string FitTo(std::string_view printable, int width);

struct TableColumn {
  std::string title;
  bool right = false;  // Set at the right edge, as numbers are.
  int least = 0;       // The width down to which it may be narrowed when the table is too wide; 0 for never.
};

struct TextTable {
  std::vector<TableColumn> columns;
  std::vector<std::vector<std::string>> rows;  // As many texts as columns; any bytes.
};

// The lines of the table, header first, without line ends and without blanks at their ends. No line is wider than
// `max_width` columns; 0 sets no limit.
std::vector<std::string> FormatTable(const TextTable& table, int max_width);

}  // namespace vantry
