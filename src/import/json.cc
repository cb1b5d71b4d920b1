#include "import/json.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace vantry {
namespace {

constexpr int kMostJsonDepth = 64;

void AppendUtf8(uint32_t c, std::string& out) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

class JsonParser {
 public:
  explicit JsonParser(std::string_view text) : rest_(text) {}

  bool Whole(JsonValue& value) {
    if (!Value(value, 0)) return false;
    SkipGaps();
    return rest_.empty();
  }

 private:
  void SkipGaps() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }
  // Takes the character if it is next.
  bool Takes(char c) {
    SkipGaps();
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }
  bool Value(JsonValue& value, int nested);
  bool Members(JsonValue& value, char end, int nested);
  bool Text(std::string& text);
  bool Escape(std::string& text);

  std::string_view rest_;
};

bool JsonParser::Value(JsonValue& value, int nested) {
  if (nested > kMostJsonDepth) return false;
  if (Takes('{')) {
    value.kind = JsonValue::Kind::kObject;
    return Members(value, '}', nested);
  }
  if (Takes('[')) {
    value.kind = JsonValue::Kind::kList;
    return Members(value, ']', nested);
  }
  if (Takes('"')) {
    value.kind = JsonValue::Kind::kText;
    return Text(value.text);
  }
  value.kind = JsonValue::Kind::kOther;
  const size_t end = std::min(rest_.find_first_of(",]} \t\r\n"), rest_.size());
  value.text = rest_.substr(0, end);
  rest_.remove_prefix(end);
  return !value.text.empty() && value.text.find_first_not_of("+-.0123456789eEtrufalsn") == std::string::npos;
}

bool JsonParser::Members(JsonValue& value, char end, int nested) {
  if (Takes(end)) return true;
  do {
    auto& [name, member] = value.members.emplace_back();
    if (end == '}' && !(Takes('"') && Text(name) && Takes(':'))) return false;
    if (!Value(member, nested + 1)) return false;
  } while (Takes(','));
  return Takes(end);
}

bool JsonParser::Text(std::string& text) {
  while (!rest_.empty()) {
    const char c = rest_.front();
    rest_.remove_prefix(1);
    if (c == '"') return true;
    if (c != '\\') {
      text += c;
    } else if (!Escape(text)) {
      return false;
    }
  }
  return false;
}

bool JsonParser::Escape(std::string& text) {
  constexpr std::string_view kLetters = "\"\\/bfnrt", kMeant = "\"\\/\b\f\n\r\t";
  if (rest_.empty()) return false;
  const char c = rest_.front();
  rest_.remove_prefix(1);
  if (const size_t at = kLetters.find(c); at != std::string_view::npos) {
    text += kMeant[at];
    return true;
  }
  if (c != 'u' || rest_.size() < 4) return false;
  uint32_t code = 0;
  const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + 4, code, 16);
  if (error != std::errc() || end != rest_.data() + 4) return false;
  rest_.remove_prefix(4);
  AppendUtf8(code, text);
  return true;
}

}  // namespace

const JsonValue& JsonValue::operator[](std::string_view name) const {
  static const JsonValue kNone;
  if (kind != Kind::kObject) return kNone;
  for (const auto& [key, member] : members) {
    if (key == name) return member;
  }
  return kNone;
}

bool ParseJson(std::string_view text, JsonValue& value) {
  value = {};
  return JsonParser(text).Whole(value);
}

}  // namespace vantry
