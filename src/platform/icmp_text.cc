#include "platform/icmp_text.h"

#include <algorithm>
#include <array>

#include "core/text.h"

namespace vantry {
namespace {

constexpr char kRequestV4 = 8, kReplyV4 = 0;
constexpr auto kRequestV6 = static_cast<char>(128), kReplyV6 = static_cast<char>(129);

uint16_t Word(std::string_view bytes, size_t at) {
  return static_cast<uint16_t>(static_cast<uint8_t>(bytes[at]) << 8 | static_cast<uint8_t>(bytes[at + 1]));
}

void PutWord(std::string& bytes, size_t at, uint16_t word) {
  bytes[at] = static_cast<char>(word >> 8);
  bytes[at + 1] = static_cast<char>(word & 0xFF);
}

uint16_t Checksum(std::string_view bytes) {
  uint32_t sum = 0;
  for (size_t at = 0; at + 1 < bytes.size(); at += 2) sum += Word(bytes, at);
  if (bytes.size() % 2 == 1) sum += static_cast<uint32_t>(static_cast<uint8_t>(bytes.back())) << 8;
  while (sum >> 16 != 0) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

struct IcmpMeaning {
  uint8_t type, code;
  std::string_view text;
};

constexpr IcmpMeaning kV4[] = {{3, 0, "network unreachable"},    {3, 1, "host unreachable"},
                               {3, 2, "protocol unreachable"},   {3, 3, "port unreachable"},
                               {3, 4, "packet too large"},       {3, 9, "forbidden by a filter"},
                               {3, 10, "forbidden by a filter"}, {3, 13, "forbidden by a filter"},
                               {11, 0, "time to live exceeded"}, {11, 1, "time to live exceeded"}};
constexpr IcmpMeaning kV6[] = {
    {1, 0, "network unreachable"}, {1, 1, "forbidden by a filter"}, {1, 3, "host unreachable"},
    {1, 4, "port unreachable"},    {1, 5, "forbidden by a filter"}, {1, 6, "network unreachable"},
    {2, 0, "packet too large"},    {3, 0, "time to live exceeded"}, {3, 1, "time to live exceeded"}};

// The text behind `name` up to a blank or line end.
std::string_view WordAfter(std::string_view text, std::string_view name) {
  const size_t at = text.find(name);
  if (at == text.npos) return {};
  text.remove_prefix(at + name.size());
  return text.substr(0, text.find_first_of(" \r\n"));
}

// A number of milliseconds with a fraction, in microseconds.
int64_t Microseconds(std::string_view ms) {
  const size_t point = ms.find('.');
  int64_t us = int64_t{LeadingNumber(ms.substr(0, point))} * 1'000;
  if (point != ms.npos) {
    std::string fraction(ms.substr(point + 1, 3));
    fraction.resize(3, '0');
    us += LeadingNumber(fraction);
  }
  return us;
}

}  // namespace

std::string EchoRequest(bool v6, const Echo& echo) {
  std::string message(kEchoHeaderBytes, '\0');
  message[0] = v6 ? kRequestV6 : kRequestV4;
  PutWord(message, 4, echo.id);
  PutWord(message, 6, echo.sequence);
  message += echo.payload;
  PutWord(message, 2, Checksum(message));
  return message;
}

std::optional<Echo> ReadEchoReply(bool v6, std::string_view message) {
  if (message.size() < kEchoHeaderBytes || message[0] != (v6 ? kReplyV6 : kReplyV4) || message[1] != 0) {
    return std::nullopt;
  }
  return Echo{Word(message, 4), Word(message, 6), std::string(message.substr(kEchoHeaderBytes))};
}

std::string_view MessageInPacket(std::string_view packet) {
  constexpr size_t kLeastHeader = 20;
  if (packet.size() < kLeastHeader || (static_cast<uint8_t>(packet[0]) >> 4) != 4) return {};
  const size_t header = (static_cast<uint8_t>(packet[0]) & 0x0F) * size_t{4};
  return header < kLeastHeader || header > packet.size() ? std::string_view() : packet.substr(header);
}

std::string IcmpText(bool v6, uint8_t type, uint8_t code) {
  const auto fits = [&](const IcmpMeaning& m) { return m.type == type && m.code == code; };
  const auto* const begin = v6 ? std::begin(kV6) : std::begin(kV4);
  const auto* const end = v6 ? std::end(kV6) : std::end(kV4);
  const auto* const found = std::find_if(begin, end, fits);
  if (found != end) return std::string(found->text);
  return "unreachable (ICMP type " + std::to_string(type) + ", code " + std::to_string(code) + ")";
}

bool IsTimeExceeded(bool v6, uint8_t type) {
  return type == (v6 ? 3 : 11);
}

bool IsPortUnreachable(bool v6, uint8_t type, uint8_t code) {
  return v6 ? type == 1 && code == 4 : type == 3 && code == 3;
}

std::optional<PingOutput> ReadPingOutput(std::string_view output) {
  for (const std::string_view line : Split(output, '\n')) {
    const size_t from = line.find(" bytes from ");
    if (from == line.npos) continue;
    const std::string_view time = WordAfter(line, "time=");
    if (time.empty()) continue;
    PingOutput reply;
    reply.bytes = std::max(0, LeadingNumber(line) - static_cast<int32_t>(kEchoHeaderBytes));
    const std::string_view ttl = WordAfter(line, "ttl=");
    reply.ttl = LeadingNumber(ttl.empty() ? WordAfter(line, "hlim=") : ttl);
    reply.time_us = Microseconds(time);
    return reply;
  }
  return std::nullopt;
}

}  // namespace vantry
