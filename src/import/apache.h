// The access logs that the configuration of Apache tells of.
#pragma once

#include <string>
#include <string_view>

#include "import/config_reader.h"
#include "import/found_site.h"

namespace vantry {

// Where Apache's configuration is, by the packages of one system.
struct ApachePlace {
  std::string file;         // The one that begins it all.
  std::string server_root;  // Unless the configuration names another.
  std::string envvars;      // A shell script with variables; empty for none.
};

// Reads the configuration that begins with this file. Returns whether it is there.
// `machine`: the name of the machine, for hosts that have none.
bool FindApacheSites(const ConfigTree& tree, const ApachePlace& place, const std::string& machine, FoundSites& found);

// A line of a log with this LogFormat.
std::string ApacheSample(std::string_view format);

}  // namespace vantry
