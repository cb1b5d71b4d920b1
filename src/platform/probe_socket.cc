#include "platform/probe_socket.h"

#include <array>
#include <cstring>

#include <linux/errqueue.h>
#include <netinet/icmp6.h>

namespace vantry {
namespace {

constexpr size_t kMostBytes = 65'536;

struct Received {
  std::string bytes = std::string(kMostBytes, '\0');
  NetAddress from;
  alignas(cmsghdr) std::array<char, 512> control{};
  iovec part{};
  msghdr header{};

  bool Take(int fd, int flags) {
    part = {bytes.data(), bytes.size()};
    header.msg_name = &from.bytes;
    header.msg_namelen = sizeof from.bytes;
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    const ssize_t n = ::recvmsg(fd, &header, flags | MSG_DONTWAIT);
    if (n < 0) return false;
    bytes.resize(static_cast<size_t>(n));
    from.size = header.msg_namelen;
    return true;
  }
};

int32_t NumberIn(const cmsghdr* part) {
  int number = 0;
  if (part->cmsg_len >= CMSG_LEN(sizeof number)) std::memcpy(&number, CMSG_DATA(part), sizeof number);
  return number;
}

bool IsTtl(const cmsghdr* part) {
  return (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_TTL) ||
         (part->cmsg_level == IPPROTO_IPV6 && part->cmsg_type == IPV6_HOPLIMIT);
}

void ReadRefusal(const cmsghdr* part, bool v6, Refusal& refusal) {
  sock_extended_err error{};
  const size_t bytes = part->cmsg_len - CMSG_LEN(0);
  if (bytes < sizeof error) return;
  std::memcpy(&error, CMSG_DATA(part), sizeof error);
  refusal.is_local = error.ee_origin != SO_EE_ORIGIN_ICMP && error.ee_origin != SO_EE_ORIGIN_ICMP6;
  refusal.type = error.ee_type;
  refusal.code = error.ee_code;
  refusal.error = static_cast<int>(error.ee_errno);
  // Whoever says so stands after the error.
  const size_t size = v6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  if (refusal.is_local || bytes < sizeof error + size) return;
  std::memcpy(&refusal.from.bytes, CMSG_DATA(part) + sizeof error, size);
  const sa_family_t family = refusal.from.bytes.ss_family;
  if (family == AF_INET || family == AF_INET6) refusal.from.size = static_cast<socklen_t>(size);
}

}  // namespace

void WantAnswers(int fd, bool v6) {
  const int on = 1;
  if (v6) {
    ::setsockopt(fd, IPPROTO_IPV6, IPV6_RECVHOPLIMIT, &on, sizeof on);
    ::setsockopt(fd, IPPROTO_IPV6, IPV6_RECVERR, &on, sizeof on);
  } else {
    ::setsockopt(fd, IPPROTO_IP, IP_RECVTTL, &on, sizeof on);
    ::setsockopt(fd, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
  }
}

void SetTimeToLive(int fd, bool v6, int hops) {
  ::setsockopt(fd, v6 ? int{IPPROTO_IPV6} : int{IPPROTO_IP}, v6 ? IPV6_UNICAST_HOPS : IP_TTL, &hops, sizeof hops);
}

std::optional<Arrival> TakeArrival(int fd) {
  Received received;
  if (!received.Take(fd, 0)) return std::nullopt;
  Arrival arrival;
  arrival.bytes = std::move(received.bytes);
  arrival.from = received.from;
  for (cmsghdr* part = CMSG_FIRSTHDR(&received.header); part; part = CMSG_NXTHDR(&received.header, part)) {
    if (IsTtl(part)) arrival.ttl = NumberIn(part);
  }
  return arrival;
}

std::optional<Refusal> TakeRefusal(int fd, bool v6) {
  Received received;
  if (!received.Take(fd, MSG_ERRQUEUE)) return std::nullopt;
  Refusal refusal;
  refusal.to = received.from;
  for (cmsghdr* part = CMSG_FIRSTHDR(&received.header); part; part = CMSG_NXTHDR(&received.header, part)) {
    if (IsTtl(part)) refusal.ttl = NumberIn(part);
    const bool is_error = (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_RECVERR) ||
                          (part->cmsg_level == IPPROTO_IPV6 && part->cmsg_type == IPV6_RECVERR);
    if (is_error) ReadRefusal(part, v6, refusal);
  }
  return refusal;
}

}  // namespace vantry
