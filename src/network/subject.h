// What the network tools and the dialogs about a visitor are told: an address, or an address, ":" and a site's number.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

struct Subject {
  std::string host;
  int16_t site = 0;  // 0: of no site.
};

// What stands before ":" is the host. An IPv6 address is in brackets if a site follows it; one without brackets is
// taken as a whole.
Subject ReadSubject(std::string_view text);
std::string SubjectText(std::string_view address, int16_t site);

}  // namespace vantry
