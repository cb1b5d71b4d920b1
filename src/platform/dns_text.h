// The texts around a reverse look-up: where to ask, what to ask for, and which answers are taken for names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace vantry {

struct NameServer {
  std::string address;  // IPv4 or IPv6, without brackets.
  uint16_t port = 0;
};

// Reads name servers separated by ",", ";" or blanks: "10.0.0.1", "10.0.0.1:5353", "::1", "[::1]:5353". A server
// without a port takes `default_port`. Text without any server gives an empty list. A failure names the entry that
// can't be read; `servers` is then of no use.
Status ReadNameServers(std::string_view text, uint16_t default_port, std::vector<NameServer>& servers);

// The domain name under which the name of this address is kept; empty when the text is no IPv4 or IPv6 address. An IPv4
// address written as IPv6 ("::ffff:10.0.0.1") has the name of the IPv4 address.
std::string ReverseName(const std::string& address);

// Whether this can be the name of a host: 1 to 253 letters, digits, "-", "_" and ".", not ending in a number. Answers
// come from whoever runs the visitor's network, and the name goes into lists, files and pages; a name that reads as an
// address would pass its visitor off as another.
bool IsHostName(std::string_view name);

}  // namespace vantry
