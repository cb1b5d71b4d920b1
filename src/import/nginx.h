// The access logs that the configuration of nginx tells of.
#pragma once

#include <string>
#include <string_view>

#include "import/config_reader.h"
#include "import/found_site.h"

namespace vantry {

// Reads the configuration that begins with this file. Returns whether it is there.
// `machine`: the name of the machine, for servers that have none.
bool FindNginxSites(const ConfigTree& tree, const std::string& file, const std::string& machine, FoundSites& found);

// A line of a log with this log_format.
std::string NginxSample(std::string_view format);

}  // namespace vantry
