// An answer by RDAP as text: what people look for as lines of "key: value", and the whole below.
#pragma once

#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

// kBadData when it is not JSON, or is not about anything.
Status ReadRdap(std::string_view json, std::string& text);

}  // namespace vantry
