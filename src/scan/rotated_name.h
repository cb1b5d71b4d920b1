// How logs are named when they are rotated.
#pragma once

#include <string_view>

namespace vantry {

// True when a file of this name may be what a log turned into, or a successor of it: the log's name with a number or a
// date added or put before its extension, ".old" and the like, ".gz"; or, of a site whose mask has wildcards, another
// name that fits it and differs in digits alone.
bool IsRotatedName(std::string_view name, std::string_view log, std::string_view mask);

// Of two files with the same time: numbers count down to the present, dates count up.
bool IsOlderName(std::string_view a, std::string_view b);

}  // namespace vantry
