#include "core/shown_bytes.h"

#include <cstdint>

#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr std::string_view kReplacementBytes = "\xEF\xBF\xBD";

bool IsHarmful(uint32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069) || c == 0x061C || c == 0xFEFF;
}

// Bytes of the character that begins with this one, in well-formed UTF-8.
size_t SizeAt(uint8_t first) {
  return first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

uint32_t CodeOf(std::string_view character) {
  constexpr uint8_t kFirstBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  uint32_t code = static_cast<uint8_t>(character[0]) & kFirstBits[character.size()];
  for (const char c : character.substr(1)) code = code << 6 | (static_cast<uint8_t>(c) & 0x3F);
  return code;
}

}  // namespace

std::string_view CutToShown(std::string_view bytes) {
  if (bytes.size() <= kMostShownBytes) return bytes;
  bytes = bytes.substr(0, kMostShownBytes);
  while (!bytes.empty() && (static_cast<uint8_t>(bytes.back()) & 0xC0) == 0x80) bytes.remove_suffix(1);
  if (!bytes.empty() && static_cast<uint8_t>(bytes.back()) >= 0xC0) bytes.remove_suffix(1);
  return bytes;
}

bool IsPlainText(std::string_view bytes) {
  for (const char c : bytes) {
    if (c < ' ' || c >= 0x7F) return false;
  }
  return true;
}

std::string ShownBytes(std::string_view bytes) {
  bytes = CutToShown(bytes);
  if (IsPlainText(bytes)) return std::string(bytes);
  const std::string text = ToUtf8(bytes);
  std::string out;
  out.reserve(text.size());
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view character = rest.substr(0, SizeAt(static_cast<uint8_t>(rest[0])));
    out.append(IsHarmful(CodeOf(character)) ? kReplacementBytes : character);
    rest.remove_prefix(character.size());
  }
  return out;
}

}  // namespace vantry
