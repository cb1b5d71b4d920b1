// Opening the program's own port, and naming who calls it.
#pragma once

#include <cstdint>
#include <string>

#include <sys/socket.h>

namespace vantry {

// The address as text; an old one inside a new one is shown as the old one. Sets `port`.
std::string HostText(const sockaddr_storage& address, int& port);

// Whose caller it is when places are shared out: the address, or for IPv6 its first 64 bits, which one household has.
std::string NetworkOf(const sockaddr_storage& address);

// A non-blocking socket that listens there, on all addresses for an empty one; -1 with errno set on failure.
int OpenServerSocket(const std::string& address, uint16_t port);

}  // namespace vantry
