#include "desktop/shown_text.h"

#include <QStringList>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

bool IsPlain(std::string_view bytes) {
  for (const char c : bytes) {
    if (c < ' ' || c >= 0x7F) return false;
  }
  return true;
}

bool IsHarmful(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069) || c == 0x061C || c == 0xFEFF;
}

}  // namespace

QString ShownText(std::string_view bytes) {
  if (bytes.size() > kMostShownBytes) {
    bytes = bytes.substr(0, kMostShownBytes);
    // Not in the middle of a character.
    while (!bytes.empty() && (static_cast<unsigned char>(bytes.back()) & 0xC0) == 0x80) bytes.remove_suffix(1);
    if (!bytes.empty() && static_cast<unsigned char>(bytes.back()) >= 0xC0) bytes.remove_suffix(1);
  }
  if (IsPlain(bytes)) return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
  QString text = QString::fromStdString(ToUtf8(bytes));
  for (QChar& c : text) {
    if (IsHarmful(c.unicode())) c = QChar::ReplacementCharacter;
  }
  return text;
}

QString ShownLines(std::string_view bytes) {
  QStringList lines;
  for (std::string_view line : Split(bytes, '\n')) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.append(ShownText(line));
  }
  return lines.join(QChar('\n'));
}

QLabel* PlainLabel(const char* name, const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  return label;
}

}  // namespace vantry
