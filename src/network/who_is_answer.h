// What the answer of a registry says: lines of "key: value" in a dozen dialects.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct WhoIsField {
  std::string_view caption;
  std::string value;
};

// What people look for first: network, organisation, country and where to complain; those that the text has.
std::vector<WhoIsField> WhoIsFields(std::string_view text);

// The server that the text sends to for more, with its port if that is another; none if there is none.
std::optional<std::string> ReferralOf(std::string_view text);

// The registry has nothing on what it was asked for.
bool SaysNothing(std::string_view text);

}  // namespace vantry
