// Looks for the web servers of a machine and for the logs that their configurations tell of.
#pragma once

#include "import/config_tree.h"
#include "import/found_site.h"

namespace vantry {

FoundSites FindSites(const ConfigTree& tree);

}  // namespace vantry
