// Text of logs and files as people are shown it: bytes become characters, and nothing in them plays with whoever shows
// them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vantry {

// At most this many bytes of a text are shown: a hostile log has pages of megabytes.
inline constexpr size_t kMostShownBytes = 10'000;

// The text without what is beyond kMostShownBytes, and not cut in the middle of a character.
std::string_view CutToShown(std::string_view bytes);

// Whether all bytes are printable ASCII, so that the text is shown as it is.
bool IsPlainText(std::string_view bytes);

// The bytes as UTF-8 if they are that, else as Windows-1252, cut to what is shown. Control characters, line ends
// included, and characters that turn the direction of the text around them become U+FFFD. Still plain text: it may hold
// markup.
std::string ShownBytes(std::string_view bytes);

}  // namespace vantry
