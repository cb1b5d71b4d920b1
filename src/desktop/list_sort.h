// Sorting of a list's rows by what a column shows.
#pragma once

#include <cstdint>
#include <vector>

#include "desktop/list_source.h"

namespace vantry {

// Numbers and times as such, texts whatever their case. `rows` come in order of arrival, which is kept among equals.
void SortByColumn(const RowSource& source, size_t column, bool descending, std::vector<uint64_t>& rows);

}  // namespace vantry
