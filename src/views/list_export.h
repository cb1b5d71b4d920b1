// Rows of a list for other programs. Texts are UTF-8, dates "2026-03-05".
#pragma once

#include <string>

#include "views/history_list.h"

namespace vantry {

// Each with CR LF at its end. With `regional` headings and dates are as people see them.
std::string CsvHead(const HistoryList& list, const Regional* regional = nullptr);
std::string CsvRow(const HistoryList& list, size_t row, const Regional* regional = nullptr);

// One object, whose names are the columns' keys. Counts are numbers, marks true or false, a date that is not there is
// null.
std::string JsonRow(const HistoryList& list, size_t row);

// A text in quotes.
std::string JsonText(std::string_view bytes);

}  // namespace vantry
