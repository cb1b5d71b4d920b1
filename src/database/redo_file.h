// Changed rows on their way into their tables. A row that is written over its old self can be cut in two by the end of
// the program or a loss of power; so all of them are first in this file, whole, and are written again at the next
// start. Pure functions over its bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// Views into whatever holds the row: a table's changed rows, or the bytes of the file.
struct RedoRow {
  std::string_view table;
  uint32_t number = 0;
  std::string_view bytes;  // The row as it should be.
};

std::string BuildRedo(const std::vector<RedoRow>& rows);
// The rows, as views into `file`. Empty when the file is not of this kind or was cut: then no row was on its way, since
// tables are written only after this file is whole.
std::optional<std::vector<RedoRow>> ParseRedo(std::string_view file);

}  // namespace vantry
