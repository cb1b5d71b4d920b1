// The wildcard comparison used for exclusions, DNS groups, alert masks and file masks.
#pragma once

#include <string_view>

namespace vantry {

// True when the whole text fits the pattern, case counts. `*` is any run of characters, `?` one character, `#` one
// digit, `[abc]` or `[a-c]` one character of a list, `[!abc]` one character outside it; `[]` matches nothing at all.
// A pattern with an unclosed "[" or a range that runs backwards fits nothing.
// Time is at most proportional to the product of both lengths, whatever the pattern.
bool Like(std::string_view text, std::string_view pattern);

// True when a file name fits a mask: `*` and `?` alone are special, ASCII case does not count, and "*.*" fits every
// name.
bool FitsFileMask(std::string_view name, std::string_view mask);

}  // namespace vantry
