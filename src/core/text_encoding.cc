#include "core/text_encoding.h"

#include <algorithm>
#include <cstdint>

namespace vantry {
namespace {

constexpr size_t kMaxLine = 76;
constexpr size_t kBytesInWord = 39;  // Of an encoded word, before it is encoded.
constexpr char16_t kReplacement = 0xFFFD;

// The characters of the bytes 0x80 to 0x9F in Windows-1252.
constexpr char16_t kWindows1252[32] = {0x20AC, kReplacement, 0x201A,       0x0192, 0x201E, 0x2026, 0x2020,
                                       0x2021, 0x02C6,       0x2030,       0x0160, 0x2039, 0x0152, kReplacement,
                                       0x017D, kReplacement, kReplacement, 0x2018, 0x2019, 0x201C, 0x201D,
                                       0x2022, 0x2013,       0x2014,       0x02DC, 0x2122, 0x0161, 0x203A,
                                       0x0153, kReplacement, 0x017E,       0x0178};

constexpr uint8_t Byte(char c) {
  return static_cast<uint8_t>(c);
}
constexpr bool IsTail(uint8_t byte) {
  return (byte & 0xC0) == 0x80;
}

// Bytes of the well-formed character at the start of the text; 0 if there is none.
size_t CharacterSize(std::string_view text) {
  const uint8_t first = Byte(text[0]);
  const size_t size = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  if (size == 0 || size > text.size()) return 0;
  for (size_t i = 1; i < size; ++i) {
    if (!IsTail(Byte(text[i]))) return 0;
  }
  if (size < 3) return size;
  // What the second byte may be depends on the first: shorter forms, surrogates and the end of the range.
  const uint8_t second = Byte(text[1]);
  const bool odd = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                   (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return odd ? 0 : size;
}

void AppendUtf8(std::string& out, char16_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

void AppendWindows1252(std::string& out, char c) {
  const uint8_t byte = Byte(c);
  AppendUtf8(out, byte >= 0x80 && byte < 0xA0 ? kWindows1252[byte - 0x80] : char16_t{byte});
}

// U+FDD0 to U+FDEF, and the last two codes of each plane. The text is one well-formed character.
bool IsNoncharacter(std::string_view text) {
  if (text.size() < 3) return false;
  const uint8_t last = Byte(text.back()), before = Byte(text[text.size() - 2]);
  if (text.size() == 3 && Byte(text[0]) == 0xEF && before == 0xB7) return last >= 0x90 && last <= 0xAF;
  if (before != 0xBF || last < 0xBE) return false;
  return text.size() == 3 ? Byte(text[0]) == 0xEF : (Byte(text[1]) & 0x0F) == 0x0F;
}

// Where the line that begins at `at` ends, and where the next one begins.
struct LineEnd {
  size_t end, next;
};
LineEnd FindLineEnd(std::string_view text, size_t at) {
  const size_t end = text.find_first_of("\r\n", at);
  if (end == std::string_view::npos) return {text.size(), text.size()};
  return {end, end + (text.substr(end, 2) == "\r\n" ? 2 : 1)};
}

// One line without its end. Blanks at the end of a line would be lost on the way.
void AppendQuotedLine(std::string& out, std::string_view line) {
  constexpr char kHex[] = "0123456789ABCDEF";
  size_t width = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    const uint8_t byte = Byte(line[i]);
    const bool last = i + 1 == line.size();
    const bool plain = (byte > ' ' && byte < 0x7F && byte != '=') || ((byte == ' ' || byte == '\t') && !last);
    const size_t needed = plain ? 1 : 3;
    if (width + needed > kMaxLine - (last ? 0 : 1)) {
      out += "=\r\n";
      width = 0;
    }
    if (plain) {
      out += line[i];
    } else {
      out += {'=', kHex[byte >> 4], kHex[byte & 15]};
    }
    width += needed;
  }
  out += "\r\n";
}

}  // namespace

bool IsUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t size = CharacterSize(bytes);
    if (size == 0) return false;
    bytes.remove_prefix(size);
  }
  return true;
}

std::string ToUtf8(std::string_view bytes) {
  if (IsUtf8(bytes)) return std::string(bytes);
  std::string out;
  for (const char c : bytes) AppendWindows1252(out, c);
  return out;
}

std::string RepairUtf8(std::string bytes) {
  size_t kept = 0;
  const std::string_view all = bytes;
  while (kept < all.size()) {
    const size_t size = CharacterSize(all.substr(kept));
    if (size == 0 || all[kept] == '\0' || IsNoncharacter(all.substr(kept, size))) break;
    kept += size;
  }
  if (kept == all.size()) return bytes;
  std::string out;
  out.reserve(bytes.size());
  out.append(all.substr(0, kept));
  for (std::string_view rest = all.substr(kept); !rest.empty();) {
    const size_t size = CharacterSize(rest);
    if (size == 0) {
      AppendWindows1252(out, rest[0]);
    } else if (IsNoncharacter(rest.substr(0, size))) {
      AppendUtf8(out, kReplacement);
    } else if (rest[0] != '\0') {
      out.append(rest.substr(0, size));
    }
    rest.remove_prefix(std::max<size_t>(size, 1));
  }
  return out;
}

std::string ToOneLine(std::string_view bytes) {
  std::string text(bytes);
  for (char& c : text) {
    if (Byte(c) < ' ' || Byte(c) == 0x7F) c = ' ';
  }
  text = ToUtf8(text);
  // The control characters above ASCII, U+0080 to U+009F; some readers treat one of them as the end of a line.
  for (size_t at = text.find('\xC2'); at != std::string::npos; at = text.find('\xC2', at + 1)) {
    if (Byte(text[at + 1]) < 0xA0) text.replace(at, 2, " ");
  }
  return text;
}

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const std::string_view group = bytes.substr(i, 3);
    uint32_t bits = 0;
    for (size_t k = 0; k < 3; ++k) bits = bits << 8 | (k < group.size() ? Byte(group[k]) : 0u);
    for (size_t k = 0; k < 4; ++k) out += k <= group.size() ? kDigits[bits >> (18 - 6 * k) & 63] : '=';
  }
  return out;
}

std::string QuotedPrintable(std::string_view text) {
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const LineEnd line = FindLineEnd(text, at);
    AppendQuotedLine(out, text.substr(at, line.end - at));
    at = line.next;
  }
  return out;
}

std::string EncodedWords(std::string_view utf8) {
  std::string out;
  while (!utf8.empty()) {
    size_t size = 0;
    while (size < utf8.size()) {
      const size_t next = std::max<size_t>(CharacterSize(utf8.substr(size)), 1);
      if (size + next > kBytesInWord) break;
      size += next;
    }
    out += (out.empty() ? "=?UTF-8?B?" : " =?UTF-8?B?") + Base64(utf8.substr(0, size)) + "?=";
    utf8.remove_prefix(size);
  }
  return out;
}

std::string FoldedHeader(std::string_view line) {
  // No line may consist of blanks, which looks like the end of the head, or of the name alone, which some can't
  // read.
  const auto breaks = [&line](size_t at) {
    return line[at] == ' ' && line[at - 1] != ' ' && line.find_first_not_of(' ', at) != std::string_view::npos;
  };
  std::string out;
  size_t first = std::min(line.find(' '), line.size()) + 1;
  while (line.size() > kMaxLine) {
    size_t at = kMaxLine;
    while (at > first && !breaks(at)) --at;
    if (at <= first) {
      for (at = std::max(first, kMaxLine); at < line.size() && !breaks(at);) ++at;
    }
    if (at >= line.size()) break;
    out.append(line.substr(0, at)) += "\r\n";
    line.remove_prefix(at);
    first = 1;
  }
  return out.append(line) += "\r\n";
}

}  // namespace vantry
