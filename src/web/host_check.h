// By which names this machine may be asked: a page of a foreign name that its owner has led to this machine could read
// everything here, because to a browser it would be a page of the same place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// Whether this can be the name of a machine: letters, digits, "-", "_" and dots, at most 253 of them.
bool IsServerName(std::string_view text);

// Whether a header Host with this value is served: an address, "localhost" or a name in `allowed`, in any case, each
// with or without a port.
bool HostAllowed(std::string_view host, const std::vector<std::string>& allowed);

}  // namespace vantry
