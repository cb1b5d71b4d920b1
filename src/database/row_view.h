// A row of a table as it stands in memory: its fields go by their place. Valid as long as the bytes are.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/date_time.h"
#include "core/text.h"
#include "database/dbf_format.h"

namespace vantry {

struct RowView {
  const RowLayout& layout;
  const char* row;

  // With the blanks at its end.
  std::string_view Raw(size_t field) const { return FieldText(layout.fields[field], row); }
  std::string_view Text(size_t field) const { return Trim(Raw(field)); }
  int64_t Number(size_t field) const { return FieldNumber(layout.fields[field], row); }
  std::optional<Day> Date(size_t field) const { return FieldDate(layout.fields[field], row); }
};

}  // namespace vantry
