// The logs of IIS on a mounted disk: a folder W3SVC1, W3SVC2, ... for each site.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "import/config_tree.h"
#include "import/found_site.h"

namespace vantry {

// Looks in the folders where IIS puts its logs, of the disk that begins at `disk` ("/" or a folder below it).
void FindIisSites(const ConfigTree& tree, const std::string& disk, FoundSites& found);

// The sites' hosts, or names where they have none, by number, from the text of applicationHost.config.
std::map<std::string, std::string> IisDomains(std::string_view xml);

}  // namespace vantry
