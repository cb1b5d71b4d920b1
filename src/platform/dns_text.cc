#include "platform/dns_text.h"

#include <algorithm>
#include <array>
#include <span>

#include <arpa/inet.h>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kMaxName = 253;

// inet_pton stops at a zero byte, and a line of a log may hold one.
bool ReadAddress(int family, const std::string& text, void* bytes) {
  return text.find('\0') == std::string::npos && ::inet_pton(family, text.c_str(), bytes) == 1;
}

bool IsAddress(const std::string& text) {
  std::array<uint8_t, 16> bytes{};
  return ReadAddress(AF_INET, text, bytes.data()) || ReadAddress(AF_INET6, text, bytes.data());
}

bool ReadServer(std::string_view text, NameServer& server) {
  std::string_view port;
  if (text.front() == '[') {
    const size_t end = text.find(']');
    if (end == std::string_view::npos) return false;
    port = text.substr(end + 1);
    text = text.substr(1, end - 1);
    if (!Contains(text, ":")) return false;
  } else if (const size_t colon = text.find(':'); colon != std::string_view::npos && colon == text.rfind(':')) {
    port = text.substr(colon);  // More than one colon are those of an IPv6 address.
    text = text.substr(0, colon);
  }
  server.address = text;
  return IsAddress(server.address) && (port.empty() || (port.front() == ':' && ReadPort(port.substr(1), server.port)));
}

std::string ReverseV4(std::span<const uint8_t, 4> bytes) {
  std::string name;
  for (size_t i = bytes.size(); i-- > 0;) name += std::to_string(bytes[i]) + ".";
  return name + "in-addr.arpa";
}

std::string ReverseV6(std::span<const uint8_t, 16> bytes) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string name;
  for (size_t i = bytes.size(); i-- > 0;) {
    for (const int digit : {bytes[i] & 15, bytes[i] >> 4}) {
      name += kHex[digit];
      name += '.';
    }
  }
  return name + "ip6.arpa";
}

}  // namespace

Status ReadNameServers(std::string_view text, uint16_t default_port, std::vector<NameServer>& servers) {
  servers.clear();
  constexpr std::string_view kSeparators = ",; \t";
  for (size_t at = 0; (at = text.find_first_not_of(kSeparators, at)) != std::string_view::npos;) {
    const std::string_view entry = text.substr(at, std::min(text.find_first_of(kSeparators, at), text.size()) - at);
    NameServer& server = servers.emplace_back();
    server.port = default_port;
    if (!ReadServer(entry, server)) {
      return Status::Error(Fail::kBadData, "'" + std::string(entry) + "' is no address of a name server");
    }
    at += entry.size();
  }
  return Status::Ok();
}

std::string ReverseName(const std::string& address) {
  std::array<uint8_t, 16> bytes{};
  if (ReadAddress(AF_INET, address, bytes.data())) return ReverseV4(std::span(bytes).first<4>());
  if (!ReadAddress(AF_INET6, address, bytes.data())) return {};
  constexpr std::array<uint8_t, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
  if (std::equal(kMapped.begin(), kMapped.end(), bytes.begin())) return ReverseV4(std::span(bytes).last<4>());
  return ReverseV6(bytes);
}

bool IsHostName(std::string_view name) {
  if (name.empty() || name.size() > kMaxName) return false;
  for (const char c : name) {
    const char lower = LowerAscii(c);
    if (!(lower >= 'a' && lower <= 'z') && !IsDigit(c) && c != '-' && c != '_' && c != '.') return false;
  }
  const std::string_view last = name.substr(name.rfind('.') + 1);
  return !std::all_of(last.begin(), last.end(), IsDigit);
}

}  // namespace vantry
