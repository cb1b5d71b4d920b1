#include "desktop/list_needle.h"

#include <algorithm>

#include "core/text.h"
#include "desktop/shown_text.h"

namespace vantry {

Needle::Needle(const QString& text) : text_(text) {
  const bool ascii = std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
  if (ascii) folded_ = Lower(text.toStdString());
}

bool Needle::In(std::string_view bytes) const {
  if (empty()) return true;
  if (folded_.empty()) return ShownText(bytes).contains(text_, Qt::CaseInsensitive);
  if (bytes.size() < folded_.size()) return false;
  const char first = folded_[0];
  const size_t last = bytes.size() - folded_.size();
  for (size_t at = 0; at <= last; ++at) {
    if (LowerAscii(bytes[at]) != first) continue;
    size_t n = 1;
    while (n < folded_.size() && LowerAscii(bytes[at + n]) == folded_[n]) ++n;
    if (n == folded_.size()) return true;
  }
  return false;
}

}  // namespace vantry
