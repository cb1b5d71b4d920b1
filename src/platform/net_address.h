// Addresses of the network as texts and as the system takes them.
#pragma once

#include <string>
#include <string_view>

#include <netinet/in.h>
#include <sys/socket.h>

#include "core/status.h"

namespace vantry {

struct NetAddress {
  sockaddr_storage bytes{};
  socklen_t size = 0;  // 0: there is none.

  bool IsV6() const { return bytes.ss_family == AF_INET6; }
  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&bytes); }
  // Without the port, and without a zone.
  std::string Text() const;
  void SetPort(uint16_t port);
  uint16_t Port() const;
  // The same machine, whatever the port.
  bool IsSameHost(const NetAddress& other) const;
};

// An IPv4 or IPv6 address, also with a zone ("fe80::1%eth0"); size 0 for any other text.
NetAddress ReadNetAddress(const std::string& text, uint16_t port);

// Whether the text can be a host's name or address: what begins with "-", is empty or has blanks is not one.
bool IsHostText(std::string_view text);

// The address of a host: as it is written, or the first that a look-up finds, which blocks. kBadData when the text is
// not a host, kNotFound when it has no address.
Status FindTarget(const std::string& host, NetAddress& target);

// An address of the internet: not of this machine, this network, or anything else that is set apart.
bool IsPublicAddress(const NetAddress& address);

}  // namespace vantry
