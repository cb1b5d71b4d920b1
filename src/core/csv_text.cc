#include "core/csv_text.h"

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

// Digits with at most one sign in front and one point or comma among them.
bool IsPlainNumber(std::string_view text) {
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) text.remove_prefix(1);
  size_t digits = 0, points = 0;
  for (const char c : text) {
    digits += IsDigit(c);
    points += c == '.' || c == ',';
  }
  return digits > 0 && points <= 1 && digits + points == text.size();
}

bool LooksLikeFormula(std::string_view bytes) {
  if (bytes.empty()) return false;
  if (bytes[0] == '\t' || bytes[0] == '\r') return true;
  const std::string_view text = Trim(bytes);
  return !text.empty() && Contains("=+-@", text.substr(0, 1)) && !IsPlainNumber(bytes);
}

}  // namespace

std::string CsvField(std::string_view bytes) {
  std::string text = ToOneLine(bytes);
  if (LooksLikeFormula(bytes)) text.insert(0, 1, '\'');
  if (text.find_first_of(",\"") == std::string::npos && Trim(text) == text) return text;
  return "\"" + ReplaceAll(std::move(text), "\"", "\"\"") + "\"";
}

}  // namespace vantry
