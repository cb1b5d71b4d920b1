#include "desktop/list_text.h"

#include <cmath>

#include "desktop/shown_text.h"

namespace vantry {
namespace {

double Linear(double part) {
  return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double Luminance(const QColor& c) {
  return 0.2126 * Linear(c.redF()) + 0.7152 * Linear(c.greenF()) + 0.0722 * Linear(c.blueF());
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

}  // namespace vantry
