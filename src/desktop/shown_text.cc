#include "desktop/shown_text.h"

#include <QStringList>

#include "core/text.h"

namespace vantry {

QString ShownText(std::string_view bytes) {
  bytes = CutToShown(bytes);
  if (IsPlainText(bytes)) return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
  return QString::fromStdString(ShownBytes(bytes));
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
