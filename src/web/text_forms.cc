#include "web/text_forms.h"

namespace vantry {

std::string OnOneLine(std::string_view sent) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(sent.size());
  for (const char c : sent) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      text += c;
    } else {
      text.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
  }
  return text;
}

}  // namespace vantry
