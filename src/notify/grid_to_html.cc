#include "notify/grid_to_html.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kHead =
    "<HTML>\r\n<HEAD>\r\n<META HTTP-EQUIV=\"Content-Type\" CONTENT=\"text/html;charset=windows-1252\">\r\n"
    "<META NAME=\"Generator\" CONTENT=\"Vantry\">\r\n<TITLE>Vantry</TITLE>\r\n</HEAD>\r\n<BODY>\r\n\r\n";

constexpr std::string_view kTable =
    "<TABLE BORDER=\"1\" CELLSPACING=\"0\" CELLPADDING=\"3\" VALIGN=\"CENTER\" BGCOLOR=\"#FFFFFF\""
    " BORDERCOLOR=\"#D4D0C8\" STYLE=\"font-family:   MS Sans Serif, Tahoma; font-size: 8pt; border: 0px solid #000000;"
    " ; border-collapse:collapse\">\r\n";

// Of fixed cells, which look raised.
constexpr std::string_view kRaised =
    " BGCOLOR=\"#D4D0C8\" BORDERCOLOR=\"#808080\" BORDERCOLORLIGHT=\"#808080\" BORDERCOLORDARK=\"#FFFFFF\""
    " HEIGHT=\"25\"";

// By GridAlign, without the general way.
constexpr std::string_view kAlignments[] = {" VALIGN=TOP",
                                            "",
                                            " VALIGN=BOTTOM",
                                            " ALIGN=CENTER VALIGN=TOP",
                                            " ALIGN=CENTER",
                                            " ALIGN=CENTER VALIGN=BOTTOM",
                                            " ALIGN=RIGHT VALIGN=TOP",
                                            " ALIGN=RIGHT",
                                            " ALIGN=RIGHT VALIGN=BOTTOM"};

void AppendEscaped(std::string& out, std::string_view text) {
  for (size_t at; (at = text.find_first_of("&<>")) != std::string_view::npos; text.remove_prefix(at + 1)) {
    out.append(text, 0, at).append(text[at] == '&' ? "&amp;" : text[at] == '<' ? "&lt;" : "&gt;");
  }
  out.append(text);
}

bool IsWebAddress(std::string_view text) {
  return StartsWith(text, "http://") || StartsWith(text, "https://");
}

class GridWriter {
 public:
  GridWriter(const ReportGrid& grid, const ReportSink& sink) : grid_(grid), sink_(sink) {
    int64_t sum = 0;
    for (int c = 0; c < grid_.Columns(); ++c) {
      Column column{grid_.ColumnWidth(c), grid_.ColumnHidden(c), grid_.Alignment(c), grid_.DataType(c), sum};
      sum += column.width;
      columns_.push_back(column);
    }
    table_width_ = std::max<int64_t>(sum, grid_.ClientWidth());
    outline_column_ = grid_.OutlineColumn().value_or(-1);
    for (Column& column : columns_) column.percent = Percent(column.width);
  }

  Status Write(const ReportPart& part) {
    if (!part.append) out_ += kHead;
    out_.append("<p><font face=\"Arial\"><b>").append(part.title).append("</b><br>\r\n");
    out_.append(part.subtitle).append("</font><br>\r\n").append(kTable);
    if (Status status = Flush(); !status.ok()) return status;
    for (int row = 0; row < grid_.Rows(); ++row) {
      if (grid_.RowHidden(row) || grid_.RowHeight(row) <= 0) continue;
      if (Status status = WriteRow(row); !status.ok()) return status;
    }
    out_ += "</TABLE>\r\n\r\n";
    if (!part.append || part.finish) out_ += "\r\n</BODY>\r\n</HTML>";
    return Flush();
  }

 private:
  struct Column {
    int width;
    bool hidden;
    GridAlign align;
    GridData data;
    int64_t left;              // Widths of those before it.
    std::string percent = {};  // Of the table's width, for a cell that is not merged.
  };

  Status Flush() {
    Status status = sink_(out_);
    out_.clear();
    return status;
  }

  // Rounded half up, with no digit at all for less than half a percent.
  std::string Percent(int64_t width) const {
    const int64_t percent = table_width_ > 0 ? (200 * width + table_width_) / (2 * table_width_) : 0;
    return percent == 0 ? "%" : std::to_string(percent) + "%";
  }

  Status WriteRow(int row) {
    out_ += "<TR>\r\n";
    for (int column = 0; column < static_cast<int>(columns_.size()); ++column) {
      const Column& c = columns_[static_cast<size_t>(column)];
      if (c.hidden || c.width <= 0) continue;
      const GridRange range = grid_.Merged(row, column);
      if (range.top != row || range.left != column) continue;
      WriteCell(range);
      if (out_.size() < kReportPiece) continue;
      if (Status status = Flush(); !status.ok()) return status;
    }
    // Browsers move what stands between rows out of the table.
    out_ += "</TR><P>\r\n";
    return Status::Ok();
  }

  void WriteCell(const GridRange& range) {
    const Column& column = columns_[static_cast<size_t>(range.left)];
    const bool fixed = range.top < grid_.FixedRows() || range.left < grid_.FixedColumns();
    const std::string text = CellText(range.top, range.left);
    out_ += "<TD WIDTH=\"";
    if (range.right > range.left) {
      const auto last = std::min(static_cast<size_t>(range.right), columns_.size() - 1);
      out_ += Percent(columns_[last].left + columns_[last].width - column.left);
    } else {
      out_ += column.percent;
    }
    out_ += '"';
    WriteSpan(" COLSPAN=", range.right - range.left);
    WriteSpan(" ROWSPAN=", range.bottom - range.top);
    if (fixed) out_ += kRaised;
    out_.append(Alignment(column, text)).append(">");
    GridFont font = grid_.Font(range.top, range.left);
    font.bold |= fixed;
    if (font.bold) out_ += "<B>";
    if (font.italic) out_ += "<I>";
    if (font.underline) out_ += "<U>";
    WriteOutline(range.top, range.left);
    WriteText(text);
    if (font.underline) out_ += "</U>";
    if (font.italic) out_ += "</I>";
    if (font.bold) out_ += "</B>";
    out_ += "</TD>\r\n";
  }

  std::string CellText(int row, int column) const {
    const bool yes = columns_[static_cast<size_t>(column)].data == GridData::kBoolean && grid_.Checked(row, column);
    return yes ? "Y" : grid_.Text(row, column);
  }

  void WriteSpan(std::string_view name, int more) {
    if (more > 0) out_.append(name).append(std::to_string(more + 1));
  }

  static std::string_view Alignment(const Column& column, std::string_view text) {
    if (column.align != GridAlign::kGeneral) return kAlignments[static_cast<size_t>(column.align)];
    if (column.data == GridData::kBoolean) return kAlignments[static_cast<size_t>(GridAlign::kCentre)];
    const bool right = column.data == GridData::kOther && IsNumberText(text);
    return right ? kAlignments[static_cast<size_t>(GridAlign::kRight)] : std::string_view();
  }

  void WriteOutline(int row, int column) {
    if (column != outline_column_) return;
    for (int level = grid_.OutlineLevel(row).value_or(0); level > 0; --level) out_ += "&nbsp&nbsp&nbsp&nbsp";
  }

  void WriteText(std::string_view text) {
    if (text.empty()) {
      out_ += "&nbsp;";
    } else if (IsWebAddress(text)) {
      const std::string shown = EscapeHTML(text);
      // A quote would end the attribute, and what a visitor put after it would be markup.
      out_ += HTMLAnchor(ReplaceAll(shown, "\"", "&quot;"), shown);
    } else {
      AppendEscaped(out_, text);
    }
  }

  const ReportGrid& grid_;
  const ReportSink& sink_;
  std::vector<Column> columns_;
  int64_t table_width_ = 0;
  int outline_column_ = -1;
  std::string out_;
};

}  // namespace

Status WriteGridHTML(const ReportGrid& grid, const ReportPart& part, const ReportSink& sink) {
  return GridWriter(grid, sink).Write(part);
}

Status GridToHTML(const ReportGrid& grid, Files& files, const std::string& file_name, const ReportPart& part) {
  if (!part.append) {
    if (Status status = files.Remove(file_name); !status.ok()) return status;
  }
  return WriteGridHTML(grid, part, [&](std::string_view bytes) { return files.Append(file_name, bytes); });
}

std::string EscapeHTML(std::string_view text) {
  if (text.empty()) return "&nbsp;";
  std::string out;
  AppendEscaped(out, text);
  return out;
}

bool IsNumberText(std::string_view text) {
  int points = 0;
  for (const char c : Trim(text)) {
    if (c == '.' ? ++points > 1 : c != ',' && !IsDigit(c)) return false;
  }
  return true;
}

std::string HTMLAnchor(std::string_view url, std::string_view text) {
  if (url.empty()) return {};
  if (text.empty()) text = url;
  if (text == "0") text = "&nbsp;";
  return std::string("<a href=\"").append(url).append("\">").append(text).append("</a>");
}

}  // namespace vantry
