#include "logs/fields.h"

#include <cstring>
#include <string>

#include "core/text.h"

namespace vantry {

FieldLayout FieldMap(std::span<const HeaderName> names, std::string_view fields) {
  FieldLayout layout;
  const std::string text = ReplaceAll(std::string(fields), "\t", " ");
  int ordinal = 0;
  for (const std::string_view part : Split(text, ' ')) {
    if (ordinal > 32767) break;
    const std::string name = Upper(Trim(part));
    for (const HeaderName& known : names) {
      if (name == known.name) layout.ordinal[known.field] = static_cast<int16_t>(ordinal);
    }
    ++ordinal;
  }
  return layout;
}

std::optional<std::string_view> FieldCutter::Get(int ordinal) {
  if (ordinal < 0) return std::nullopt;
  const auto n = static_cast<size_t>(ordinal);
  while (fields_.size() <= n && !done_) {
    const void* hit = rest_.empty() ? nullptr : std::memchr(rest_.data(), separator_, rest_.size());
    if (hit) {
      const auto size = static_cast<size_t>(static_cast<const char*>(hit) - rest_.data());
      fields_.push_back(rest_.substr(0, size));
      rest_.remove_prefix(size + 1);
    } else {
      fields_.push_back(rest_);
      done_ = true;
    }
  }
  if (fields_.size() <= n) return std::nullopt;
  return Trim(fields_[n]);
}

}  // namespace vantry
