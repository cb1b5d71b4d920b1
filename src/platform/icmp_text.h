// What goes over the wire for a ping and what comes back, as bytes and texts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

inline constexpr size_t kEchoHeaderBytes = 8;

struct Echo {
  uint16_t id = 0, sequence = 0;
  std::string payload;
};

// The whole message, with its checksum (which the system writes anew for IPv6, and where it writes the id).
std::string EchoRequest(bool v6, const Echo& echo);
// Reads the answer to an echo; nothing when the bytes are something else.
std::optional<Echo> ReadEchoReply(bool v6, std::string_view message);
// The message in an IPv4 packet; empty when there is none.
std::string_view MessageInPacket(std::string_view packet);

// What an ICMP message says about a packet that did not arrive, such as "host unreachable".
std::string IcmpText(bool v6, uint8_t type, uint8_t code);
bool IsTimeExceeded(bool v6, uint8_t type);
bool IsPortUnreachable(bool v6, uint8_t type, uint8_t code);

// What the program `ping` has said of one reply.
struct PingOutput {
  int32_t bytes = 0, ttl = 0;
  int64_t time_us = 0;
};
// Nothing when it has got none.
std::optional<PingOutput> ReadPingOutput(std::string_view output);

}  // namespace vantry
