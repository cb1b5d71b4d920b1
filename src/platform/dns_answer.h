// The bytes of a name server's answer to a reverse look-up.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vantry {

// Takes the first name of an answer, as it was sent. Returns the resolver library's status: its code for a bad name
// when this can't be the name of a host, in which case `name` stays.
int ReadHostName(std::span<const uint8_t> answer, std::string& name);

}  // namespace vantry
