#include "desktop/list_text.h"

#include <cmath>

#include "core/text.h"
#include "core/text_encoding.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

double Linear(double part) {
  return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double Luminance(const QColor& c) {
  return 0.2126 * Linear(c.redF()) + 0.7152 * Linear(c.greenF()) + 0.0722 * Linear(c.blueF());
}

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

Qt::Alignment SideOf(Align align) {
  if (align == Align::kRight) return Qt::AlignRight;
  return align == Align::kCentre ? Qt::AlignHCenter : Qt::AlignLeft;
}

std::optional<QColor> BackColour(uint32_t colour) {
  // 0 is an alert's colour that nobody has chosen.
  if (colour > 0xFFFFFF || colour == 0) return std::nullopt;
  return QColor(static_cast<int>(colour & 0xFF), static_cast<int>(colour >> 8 & 0xFF),
                static_cast<int>(colour >> 16 & 0xFF));
}

double Contrast(const QColor& a, const QColor& b) {
  const double first = Luminance(a) + 0.05, second = Luminance(b) + 0.05;
  return first > second ? first / second : second / first;
}

QColor ReadableOn(const QColor& back) {
  const QColor black(Qt::black), white(Qt::white);
  return Contrast(back, black) >= Contrast(back, white) ? black : white;
}

QString PlainTip(QString text) {
  constexpr qsizetype kMost = 1'000;
  if (text.isEmpty()) return {};
  if (text.size() > kMost) text = text.left(kMost) + QChar(0x2026);
  return "<p style=\"white-space:pre-wrap\">" + text.toHtmlEscaped() + "</p>";
}

std::string CsvField(std::string_view bytes) {
  std::string text = ToOneLine(bytes);
  if (LooksLikeFormula(bytes)) text.insert(0, 1, '\'');
  if (text.find_first_of(",\"") == std::string::npos && Trim(text) == text) return text;
  return "\"" + ReplaceAll(std::move(text), "\"", "\"\"") + "\"";
}

}  // namespace vantry
