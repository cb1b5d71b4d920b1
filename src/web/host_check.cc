#include "web/host_check.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kMaxHostName = 253, kMaxPortDigits = 5;

bool IsNumber(std::string_view text, size_t max_digits) {
  return text.size() <= max_digits && std::all_of(text.begin(), text.end(), IsDigit);
}

bool IsAddress4(std::string_view text) {
  const auto parts = Split(text, '.');
  return parts.size() == 4 && std::all_of(parts.begin(), parts.end(), [](std::string_view part) {
           return !part.empty() && IsNumber(part, 3) && LeadingNumber(part) <= 255;
         });
}

// What stands in brackets can't be a name, so its form alone is looked at.
bool IsBracketed6(std::string_view text) {
  if (text.size() < 4 || text.front() != '[' || text.back() != ']') return false;
  const std::string_view inside = text.substr(1, text.size() - 2);
  return std::count(inside.begin(), inside.end(), ':') >= 2 && std::all_of(inside.begin(), inside.end(), [](char c) {
           const char lower = LowerAscii(c);
           return IsDigit(c) || (lower >= 'a' && lower <= 'f') || c == ':' || c == '.';
         });
}

}  // namespace

bool IsServerName(std::string_view text) {
  return !text.empty() && text.size() <= kMaxHostName && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), [](char c) {
           const char lower = LowerAscii(c);
           return IsDigit(c) || (lower >= 'a' && lower <= 'z') || c == '.' || c == '-' || c == '_';
         });
}

bool HostAllowed(std::string_view host, const std::vector<std::string>& allowed) {
  const size_t colon = host.rfind(':');
  if (colon != std::string_view::npos && host.back() != ']') {
    if (!IsNumber(host.substr(colon + 1), kMaxPortDigits)) return false;
    host = host.substr(0, colon);
  }
  if (IsBracketed6(host)) return true;
  if (!host.empty() && host.back() == '.') host.remove_suffix(1);  // The same name, written in full.
  return IsAddress4(host) || EqualsNoCase(host, "localhost") ||
         std::any_of(allowed.begin(), allowed.end(), [&](const auto& name) { return EqualsNoCase(host, name); });
}

}  // namespace vantry
