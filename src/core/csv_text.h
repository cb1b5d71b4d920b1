// CSV for spreadsheets.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// One field of a CSV file in UTF-8. A text that a spreadsheet would take for a formula gets an apostrophe in front.
std::string CsvField(std::string_view bytes);

}  // namespace vantry
