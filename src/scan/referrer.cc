#include "scan/referrer.h"

#include "core/text.h"

namespace vantry {

std::string CleanQuery(std::string_view text) {
  std::string out = ReplaceAll(ReplaceAll(std::string(text), "%20", " "), "%22", " ");
  for (char& c : out) {
    const bool kept = (c >= '0' && c <= '9') || (c >= 'A' && c <= '[') || (c >= 'a' && c <= 'z');
    if (!kept) c = ' ';
  }
  return out;
}

}  // namespace vantry
