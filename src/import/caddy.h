// The access logs that the configuration of Caddy tells of.
#pragma once

#include <string>
#include <string_view>

#include "import/config_reader.h"
#include "import/found_site.h"

namespace vantry {

// Each reads the configuration that begins with this file and returns whether it is there.
// `machine`: the name of the machine, for sites that have none.
bool FindCaddyfileSites(const ConfigTree& tree, const std::string& file, const std::string& machine, FoundSites& found);
bool FindCaddyJsonSites(const ConfigTree& tree, const std::string& file, const std::string& machine, FoundSites& found);

// A line of a log with this template of the module "transform". `time_format` as the template's.
std::string CaddySample(std::string_view pattern, std::string_view time_format);

}  // namespace vantry
