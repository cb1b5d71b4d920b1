// Opening the program's own port, and naming who calls it.
#pragma once

#include <cstdint>
#include <string>

#include <sys/socket.h>

#include "core/status.h"

namespace vantry {

// The address as text; an old one inside a new one is shown as the old one. Sets `port`.
std::string HostText(const sockaddr_storage& address, int& port);

// Whose caller it is when places are shared out: the address, or for IPv6 its first 64 bits, which one household has.
std::string NetworkOf(const sockaddr_storage& address);

// Opens a non-blocking socket that listens there, on all addresses for an empty one. On failure `fd` is -1.
Status OpenServerSocket(const std::string& address, uint16_t port, int& fd);

// Where a socket listens; it may have been opened with 0 for any port that is free.
uint16_t PortOf(int fd);

}  // namespace vantry
