// What makes pages readable: a style sheet beside the old one. Whatever colours an operator chooses, texts and links
// keep a contrast of 4.5 : 1 to what they stand on, and no page is wider than a phone.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace vantry {

// "#" and six hexadecimal digits.
bool IsColour(std::string_view text);

// The ratio by which two colours differ in light, 1 to 21.
double Contrast(std::string_view one, std::string_view other);

// The part of a page's head that does it, for the backgrounds that the page has ("Red" is one too).
std::string ReadableHead(std::span<const std::string_view> backgrounds);

}  // namespace vantry
