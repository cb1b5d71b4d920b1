// A grid as an HTML file, as it looks on the screen: for the daily report and for views that are mailed. The file has
// a look of its own and nothing in common with the pages of the web access.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/status.h"
#include "notify/report_grid.h"
#include "ports/files.h"

namespace vantry {

// One grid's part of a report. The first part makes the file, the others are appended; each begins with its title. The
// first part ends the page, and so does the last: what comes between stands after the end, which browsers accept.
struct ReportPart {
  std::string_view title, subtitle;  // HTML, written as they are.
  bool append = false;
  bool finish = false;  // The last part. The first one is finished in any case.
};

// Takes the next bytes of a report; a failure ends it.
using ReportSink = std::function<Status(std::string_view bytes)>;

// Hands the part over in pieces of about kReportPiece bytes, the first of which is the head alone, so that a file that
// can't be opened is told before any cell is asked for. Takes time in proportion to the cells and the bytes of their
// texts. Returns the failure of the sink.
Status WriteGridHTML(const ReportGrid& grid, const ReportPart& part, const ReportSink& sink);

// The same into a file. What the file held before is gone, unless the part is appended. A failure names the file and
// may leave a part of it behind.
Status GridToHTML(const ReportGrid& grid, Files& files, const std::string& file_name, const ReportPart& part);

inline constexpr size_t kReportPiece = 256 * 1024;

// The text with "&", "<" and ">" as HTML shows them; "&nbsp;" for an empty one. Quotes stay, so this is for text
// between tags alone.
std::string EscapeHTML(std::string_view text);

// Whether a cell's text is a number, to be aligned as one: digits, commas and at most one point, blanks around them
// aside. A sign makes it none; an empty text is one.
bool IsNumberText(std::string_view text);

// A link that shows `text`, or the address where that is empty; "0" shows as an empty cell. Empty without an address.
// Both go into the page as they are.
std::string HTMLAnchor(std::string_view url, std::string_view text);

}  // namespace vantry
