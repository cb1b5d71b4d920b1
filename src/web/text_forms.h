// What a caller sent, in the form in which it may stand in a file.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// With its control characters as "%0A": it can't begin a line in a file, nor steer a terminal that shows the file.
std::string OnOneLine(std::string_view sent);

}  // namespace vantry
