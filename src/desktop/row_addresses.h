// What the commands on a chosen row open in the browser. Empty when the row has nothing that may be opened: texts of a
// log choose the page of a browser, so nothing but http and https goes there.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// The page on its site: "/" in front of a page without one, "http://" in front of a domain without a scheme.
std::string PageAddress(std::string_view domain, std::string_view page);

std::string ReferrerAddress(std::string_view referrer);

// The visitor's machine as an address.
std::string HostAddress(std::string_view name);

// The text of `list` with the address after ";".
std::string AddToExcludeList(std::string_view list, std::string_view address);

}  // namespace vantry
