#include "platform/web_address.h"

#include <algorithm>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr size_t kLongestAddress = 8'000;  // What web servers take.

bool IsPlainInUrl(unsigned char c) {
  return c > ' ' && c < 0x7F;
}

std::string UrlEscaped(std::string_view text) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string result;
  for (const unsigned char c : text) {
    if (IsPlainInUrl(c)) {
      result += static_cast<char>(c);
    } else {
      result.append({'%', kHex[c >> 4], kHex[c & 15]});
    }
  }
  return result;
}

// Names in other scripts are left to the library, which knows their form on the wire.
bool IsUrlHost(std::string_view host) {
  constexpr std::string_view kNever = "\"'()*,;<>@[\\]^`{|}%\x7F";
  return !host.empty() && host.size() <= 255 && std::none_of(host.begin(), host.end(), [&](char c) {
    return (c >= 0 && c <= ' ') || kNever.find(c) != kNever.npos;
  });
}

// Without its brackets; the library looks at it more closely.
bool IsUrlIPv6(std::string_view host) {
  return Contains(host, ":") && host.find_first_not_of(
                                    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                    ":.%-_~") == host.npos;
}

// What is wrong with "host", "host:port" or "[address]:port"; empty for nothing.
std::string UrlPlaceProblem(std::string_view place) {
  if (place.empty() || place.rfind(':') == 0) return "the site has no domain";
  std::string_view port;
  if (place.front() == '[') {
    const size_t end = place.find(']');
    if (end == place.npos || !IsUrlIPv6(place.substr(1, end - 1))) return "that is not an IPv6 address in brackets";
    port = place.substr(end + 1);
    if (!port.empty() && port.front() != ':') return "only \":\" and a port may follow the bracket";
  } else {
    const size_t colon = place.find(':');
    const std::string_view host = place.substr(0, colon);
    port = colon == place.npos ? std::string_view() : place.substr(colon);
    if (Contains(port.empty() ? port : port.substr(1), ":")) return "an IPv6 address needs brackets: [::1]";
    if (!IsUrlHost(host)) return "that is not the name of a server";
  }
  uint16_t number = 0;
  const bool good = port.empty() || ReadPort(port.substr(1), number);
  return good ? "" : "a port is a number from 1 to 65535";
}

}  // namespace

Status ReadWebAddress(std::string_view text, WebAddress& address) {
  size_t begin = 0;
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (EqualsNoCase(text.substr(0, scheme.size()), scheme)) begin = scheme.size();
  }
  const size_t end = std::min(text.find_first_of("/?#", begin), text.size());
  const std::string_view authority = text.substr(begin, end - begin);
  const size_t at = authority.rfind('@');
  const std::string_view place = at == authority.npos ? authority : authority.substr(at + 1);
  const std::string login = at == authority.npos ? "" : UrlEscaped(authority.substr(0, at + 1));
  std::string problem = UrlPlaceProblem(place);
  if (problem.empty() && text.size() > kLongestAddress) problem = "the address of the page is too long";
  if (!problem.empty()) {
    const std::string shown = ToOneLine(place.substr(0, 100));
    return Status::Error(Fail::kBadData, (shown.empty() ? "" : "'" + shown + "': ") + problem);
  }
  address.place = place;
  address.url = (begin > 0 ? Lower(text.substr(0, begin)) : "http://") + login + std::string(place) +
                UrlEscaped(text.substr(end));
  return Status::Ok();
}

}  // namespace vantry
