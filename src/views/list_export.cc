#include "views/list_export.h"

#include "core/csv_text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

std::string JsonCell(const HistoryList& list, size_t row, size_t column) {
  switch (list.Columns()[column].kind) {
    case CellKind::kText:
      return JsonText(list.Text(row, column));
    case CellKind::kDay:
      return list.Number(row, column) == 0 ? "null" : JsonText(list.Shown(row, column, nullptr));
    case CellKind::kCheck:
    case CellKind::kYes:
      return list.Number(row, column) != 0 ? "true" : "false";
    default:
      return std::to_string(list.Number(row, column));
  }
}

}  // namespace

std::string CsvHead(const HistoryList& list, const Regional* regional) {
  std::string line;
  for (const HistoryColumn& column : list.Columns()) {
    line.append(line.empty() ? "" : ",").append(CsvField(regional ? column.heading : column.key));
  }
  return line + "\r\n";
}

std::string CsvRow(const HistoryList& list, size_t row, const Regional* regional) {
  std::string line;
  for (size_t c = 0; c < list.Columns().size(); ++c) {
    line.append(c == 0 ? "" : ",").append(CsvField(list.Shown(row, c, regional)));
  }
  return line + "\r\n";
}

std::string JsonText(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "\"";
  for (const char c : RepairUtf8(std::string(bytes))) {
    if (c == '"' || c == '\\') {
      text.append({'\\', c});
    } else if (static_cast<unsigned char>(c) < 0x20) {
      text.append("\\u00").append({kDigits[c >> 4], kDigits[c & 15]});
    } else {
      text += c;
    }
  }
  return text + "\"";
}

std::string JsonRow(const HistoryList& list, size_t row) {
  std::string text = "{";
  for (size_t c = 0; c < list.Columns().size(); ++c) {
    text.append(c == 0 ? "" : ", ").append(JsonText(list.Columns()[c].key)).append(": ");
    text += JsonCell(list, row, c);
  }
  return text + "}";
}

}  // namespace vantry
