// A table as other programs read it while it is in use: some go by the count in its header, some read up to its end
// mark. Both must see whole rows at every instant.
#pragma once

#include <string>
#include <vector>

#include "database/dbf_format.h"

namespace vantry {

struct OtherReaders {
  std::vector<std::string> by_count, by_mark;  // Rows with their first byte, deleted ones too.
  std::string trouble;                         // What one of the readers stumbles over; empty for nothing.

  explicit OtherReaders(const std::string& bytes) {
    TableHeader header;
    if (Status status = ParseHeader(bytes, header); !status.ok()) {
      trouble = status.text;
      return;
    }
    const size_t row_bytes = header.layout.row_bytes;
    const auto take = [&](size_t at, std::vector<std::string>& rows) {
      rows.push_back(bytes.substr(at, row_bytes));
      const std::string& row = rows.back();
      const bool whole = row.size() == row_bytes && (row[0] == dbf::kLiving || row[0] == dbf::kDeleted) &&
                         row.find('\0') == std::string::npos;
      if (!whole && trouble.empty()) trouble = "row " + std::to_string(rows.size()) + " is none: \"" + row + "\"";
      return whole;
    };
    size_t at = header.header_bytes;
    for (uint32_t i = 0; i < header.rows && take(at, by_count); ++i) at += row_bytes;
    for (at = header.header_bytes; at < bytes.size() && bytes[at] != dbf::kEndMark; at += row_bytes) {
      if (!take(at, by_mark)) break;
    }
    if (at >= bytes.size() && trouble.empty()) trouble = "there is no end mark";
  }
};

}  // namespace vantry
