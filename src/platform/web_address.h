// The address of a page, as people write it and as it goes over the wire.
#pragma once

#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

struct WebAddress {
  std::string url;    // Printable ASCII without blanks: all else behind the server's name is written as %XX.
  std::string place;  // The server and its port as they are written, without user and password.
};

// Reads "http://HOST/PAGE" or "https://…"; without either in front it is http. kBadData with a text for people when no
// server could be asked for it.
Status ReadWebAddress(std::string_view text, WebAddress& address);

}  // namespace vantry
