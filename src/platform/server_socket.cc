#include "platform/server_socket.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <unistd.h>

namespace vantry {
namespace {

constexpr int kBacklog = 512;

// Binds and listens; -1 with errno set on failure.
int OpenServer(const sockaddr* address, socklen_t size) {
  const int fd = ::socket(address->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  const int on = 1, off = 0;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (address->sa_family == AF_INET6) ::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
  if (::bind(fd, address, size) == 0 && ::listen(fd, kBacklog) == 0) return fd;
  const int error = errno;
  ::close(fd);
  errno = error;
  return -1;
}

int OpenV4(in_addr host, uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr = host;
  address.sin_port = htons(port);
  return OpenServer(reinterpret_cast<sockaddr*>(&address), sizeof address);
}

int OpenV6(in6_addr host, uint16_t port) {
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = host;
  address.sin6_port = htons(port);
  return OpenServer(reinterpret_cast<sockaddr*>(&address), sizeof address);
}

int OpenAt(const std::string& address, uint16_t port) {
  in_addr v4{};
  in6_addr v6{};
  if (address.empty()) {
    // All addresses of both families, or of the old one alone where the new one is switched off.
    const int fd = OpenV6(in6addr_any, port);
    return fd >= 0 || errno == EADDRINUSE || errno == EACCES ? fd : OpenV4(in_addr{INADDR_ANY}, port);
  }
  if (::inet_pton(AF_INET, address.c_str(), &v4) == 1) return OpenV4(v4, port);
  if (::inet_pton(AF_INET6, address.c_str(), &v6) == 1) return OpenV6(v6, port);
  errno = EINVAL;
  return -1;
}

}  // namespace

std::string HostText(const sockaddr_storage& address, int& port) {
  char text[INET6_ADDRSTRLEN] = "";
  if (address.ss_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
    ::inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
    port = ntohs(v4.sin_port);
    return text;
  }
  const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
  port = ntohs(v6.sin6_port);
  if (IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr)) {
    ::inet_ntop(AF_INET, &v6.sin6_addr.s6_addr[12], text, sizeof text);
  } else {
    ::inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
  }
  return text;
}

std::string NetworkOf(const sockaddr_storage& address) {
  sockaddr_storage network = address;
  auto& v6 = reinterpret_cast<sockaddr_in6&>(network);
  if (network.ss_family == AF_INET6 && !IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr)) {
    std::memset(&v6.sin6_addr.s6_addr[8], 0, 8);
  }
  int port = 0;
  return HostText(network, port);
}

Status OpenServerSocket(const std::string& address, uint16_t port, int& fd) {
  fd = OpenAt(address, port);
  if (fd >= 0) return Status::Ok();
  const int error = errno;
  const std::string place = (address.empty() ? "" : "address " + address + ", ") + "port " + std::to_string(port);
  const std::string reason = error == EADDRINUSE ? "is taken by another program" : std::strerror(error);
  return Status::Error(Fail::kRefused, place + ": " + reason);
}

uint16_t PortOf(int fd) {
  sockaddr_storage own{};
  socklen_t size = sizeof own;
  int port = 0;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size) == 0) HostText(own, port);
  return static_cast<uint16_t>(port);
}

}  // namespace vantry
