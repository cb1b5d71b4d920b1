// The form in which a referrer is searched for words.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// Each "%20" and "%22" becomes a blank, then every character that is no digit, letter or "[". Other escapes are not
// decoded: their digits stay as a word.
std::string CleanQuery(std::string_view text);

}  // namespace vantry
