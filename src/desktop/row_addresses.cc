#include "desktop/row_addresses.h"

#include "core/text.h"

namespace vantry {
namespace {

bool HasScheme(std::string_view text) {
  const std::string start = Lower(text.substr(0, 8));
  return StartsWith(start, "http://") || start == "https://";
}

}  // namespace

std::string PageAddress(std::string_view domain, std::string_view page) {
  if (Trim(domain).empty()) return {};
  std::string address(domain);
  if (!StartsWith(page, "/")) address += '/';
  address += page;
  return HasScheme(address) ? address : "http://" + address;
}

std::string ReferrerAddress(std::string_view referrer) {
  if (HasScheme(referrer)) return std::string(referrer);
  // A referrer without a scheme is a host; "-", a search word or a user name is none.
  if (!Contains(referrer, ".") || Contains(referrer, ":") || Contains(referrer, " ")) return {};
  return "http://" + std::string(referrer);
}

std::string HostAddress(std::string_view name) {
  if (name.empty() || Contains(name, " ") || Contains(name, "*")) return {};
  return Contains(name, ":") ? "http://[" + std::string(name) + "]/" : "http://" + std::string(name) + "/";
}

std::string AddToExcludeList(std::string_view list, std::string_view address) {
  return std::string(list) + ";" + std::string(address);
}

}  // namespace vantry
