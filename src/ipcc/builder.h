// The program vantry-ipcc: reads files of address ranges, writes the country table.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "core/date_time.h"
#include "ports/files.h"

namespace vantry {

// Does what `words`, the arguments after the program's name, ask for, and reports on `out` and `err`. Returns the
// exit code: 0 when the table is written, 1 when it is not, and whatever stood there before still does, 2 on wrong use.
int RunIpcc(Files& files, Day today, const std::vector<std::string>& words, std::ostream& out, std::ostream& err);

}  // namespace vantry
