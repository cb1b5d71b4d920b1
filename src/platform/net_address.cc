#include "platform/net_address.h"

#include <algorithm>
#include <cstring>

#include <arpa/inet.h>
#include <netdb.h>

#include "platform/dns_text.h"
#include "platform/host_lookup.h"

namespace vantry {
namespace {

struct Block {
  uint32_t network;
  int bits;
};

// Set apart for something other than hosts of the internet.
constexpr Block kSetApart[] = {{0x00000000, 8},  {0x0A000000, 8},  {0x64400000, 10}, {0x7F000000, 8},  {0xA9FE0000, 16},
                               {0xAC100000, 12}, {0xC0000000, 24}, {0xC0000200, 24}, {0xC0A80000, 16}, {0xC6120000, 15},
                               {0xC6336400, 24}, {0xCB007100, 24}, {0xE0000000, 3}};

bool IsPublicV4(uint32_t address) {
  return std::none_of(std::begin(kSetApart), std::end(kSetApart),
                      [address](const Block& block) { return (address ^ block.network) >> (32 - block.bits) == 0; });
}

// The last four bytes of an address that stands for one of IPv4; also those that are translated on the way.
uint32_t LastFour(const in6_addr& address) {
  uint32_t last = 0;
  std::memcpy(&last, address.s6_addr + 12, sizeof last);
  return ntohl(last);
}

bool IsPublicV6(const in6_addr& a) {
  if (IN6_IS_ADDR_V4MAPPED(&a)) return IsPublicV4(LastFour(a));
  constexpr uint8_t kTranslated[12] = {0, 0x64, 0xFF, 0x9B};
  if (std::memcmp(a.s6_addr, kTranslated, sizeof kTranslated) == 0) return IsPublicV4(LastFour(a));
  const bool is_global = (a.s6_addr[0] & 0xE0) == 0x20;  // 2000::/3 is all that was ever given out.
  const bool is_6to4 = a.s6_addr[0] == 0x20 && a.s6_addr[1] == 0x02;
  const bool is_special = a.s6_addr[0] == 0x20 && a.s6_addr[1] == 0x01 && a.s6_addr[2] < 0x02;  // Teredo and others.
  const bool is_example = a.s6_addr[0] == 0x20 && a.s6_addr[1] == 0x01 && a.s6_addr[2] == 0x0D && a.s6_addr[3] == 0xB8;
  return is_global && !is_6to4 && !is_special && !is_example;
}

}  // namespace

std::string NetAddress::Text() const {
  char text[INET6_ADDRSTRLEN] = "";
  if (size == 0) return {};
  const void* host = IsV6() ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(&bytes)->sin6_addr)
                            : static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(&bytes)->sin_addr);
  return ::inet_ntop(bytes.ss_family, host, text, sizeof text) ? text : "";
}

void NetAddress::SetPort(uint16_t port) {
  if (IsV6()) {
    reinterpret_cast<sockaddr_in6*>(&bytes)->sin6_port = htons(port);
  } else {
    reinterpret_cast<sockaddr_in*>(&bytes)->sin_port = htons(port);
  }
}

uint16_t NetAddress::Port() const {
  return ntohs(IsV6() ? reinterpret_cast<const sockaddr_in6*>(&bytes)->sin6_port
                      : reinterpret_cast<const sockaddr_in*>(&bytes)->sin_port);
}

bool NetAddress::IsSameHost(const NetAddress& other) const {
  if (bytes.ss_family != other.bytes.ss_family) return false;
  if (!IsV6()) {
    return reinterpret_cast<const sockaddr_in*>(&bytes)->sin_addr.s_addr ==
           reinterpret_cast<const sockaddr_in*>(&other.bytes)->sin_addr.s_addr;
  }
  return std::memcmp(&reinterpret_cast<const sockaddr_in6*>(&bytes)->sin6_addr,
                     &reinterpret_cast<const sockaddr_in6*>(&other.bytes)->sin6_addr, sizeof(in6_addr)) == 0;
}

NetAddress ReadNetAddress(const std::string& text, uint16_t port) {
  NetAddress address;
  addrinfo hints{}, *found = nullptr;
  hints.ai_flags = AI_NUMERICHOST;
  hints.ai_socktype = SOCK_DGRAM;
  if (::getaddrinfo(text.c_str(), nullptr, &hints, &found) != 0) return address;
  if (found->ai_addrlen <= sizeof address.bytes) {
    std::memcpy(&address.bytes, found->ai_addr, found->ai_addrlen);
    address.size = found->ai_addrlen;
    address.SetPort(port);
  }
  ::freeaddrinfo(found);
  return address;
}

bool IsHostText(std::string_view text) {
  if (text.empty() || text.front() == '-' || text.find('\0') != text.npos) return false;
  return IsHostName(text) || ReadNetAddress(std::string(text), 0).size > 0;
}

Status FindTarget(const std::string& host, NetAddress& target) {
  if (!IsHostText(host)) return Status::Error(Fail::kBadData, "'" + host + "' is not a host");
  target = ReadNetAddress(host, 0);
  if (target.size > 0) return Status::Ok();
  const HostAddresses found = LookUpHost(host);
  for (const std::string& address : found.addresses) {
    target = ReadNetAddress(address, 0);
    if (target.size > 0) return Status::Ok();
  }
  return Status::Error(Fail::kNotFound, host + ": " + found.problem);
}

bool IsPublicAddress(const NetAddress& address) {
  if (address.size == 0) return false;
  if (address.IsV6()) return IsPublicV6(reinterpret_cast<const sockaddr_in6*>(&address.bytes)->sin6_addr);
  return IsPublicV4(ntohl(reinterpret_cast<const sockaddr_in*>(&address.bytes)->sin_addr.s_addr));
}

}  // namespace vantry
