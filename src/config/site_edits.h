// What an operator changed in VANTRY.INI while the program ran, taken over into the tables.
#pragma once

#include <string>
#include <string_view>

#include "config/value_forms.h"
#include "core/regional.h"
#include "core/tables.h"

namespace vantry {

// Makes the last site of the table, which was added while the program runs, due at once.
void BeginLastSite(WallTime now, LiveTables& tables);

// Takes over what differs between the bytes that the program last read or wrote (`before`) and those that stand there
// now (`after`). Values that were changed win, but for the reading state, which is the program's own; sites that are
// new are added at the end, due at once; a site that is gone is marked Deleted and paused, and keeps its number. A site
// is known by its name. Every reference into the tables is void afterwards if sites were added. On a mistake in `after`
// nothing is taken over.
std::optional<ReadProblem> TakeOverSites(std::string_view before, std::string_view after, const Regional& regional,
                                         WallTime now, LiveTables& tables);

// Marks the site as deleted and lets it rest for good; its number stays. Its domain is free for another site.
void DeleteSite(LiveTables& t, int16_t n);

}  // namespace vantry
