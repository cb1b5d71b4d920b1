#pragma once

#include "core/regional.h"
#include "ports/key_store.h"

namespace vantry {

// The formats of the section "International" (`ShortDate`, `Time`); whatever is missing there comes from the locale of
// the environment, and in the C and POSIX locales from the defaults of `Regional`.
Regional ReadRegional(KeyStore& store);

// A strftime date or time pattern as a pattern of `Regional`; `fallback` when it can't be expressed.
std::string PatternFromStrftime(std::string_view format, const std::string& fallback);

}  // namespace vantry
