// The name of a SQL server, as people write it and as FreeTDS takes it.
#pragma once

#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

// Reads "host", "host:port", "host,port", "host\instance", an IPv6 address in brackets for the host, and "(local)", "."
// or nothing for this machine. `name` becomes what FreeTDS takes: "host", "host:port" or "host\instance". kBadData with
// a text for people when it is none of these.
Status ReadSqlServerName(std::string_view text, std::string& name);

}  // namespace vantry
