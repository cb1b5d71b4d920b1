#include "desktop/tool_window.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QStringList>

#include "core/text.h"
#include "desktop/shown_text.h"

namespace vantry {

ToolWindow::ToolWindow(const char* name, const WindowParts& parts, std::string_view subject, QWidget* parent)
    : QDialog(parent), parts_(parts), subject_(ReadSubject(subject)), column_(new QVBoxLayout(this)) {
  setObjectName(name);
  setAttribute(Qt::WA_DeleteOnClose);
  resize(fontMetrics().averageCharWidth() * 90, fontMetrics().lineSpacing() * 26);
}

QPushButton* ToolWindow::NewButton(const char* name, const QString& caption) {
  auto* button = new QPushButton(caption, this);
  button->setObjectName(name);
  button->setAutoDefault(false);
  return button;
}

QLineEdit* ToolWindow::AddHost(const char* name, std::initializer_list<QPushButton*> buttons) {
  auto* line = new QHBoxLayout;
  auto* label = new QLabel("&Host:", this);
  auto* host = new QLineEdit(ShownText(subject_.host), this);
  host->setObjectName(name);
  host->setAccessibleName("Host");
  host->setMaxLength(255);
  label->setBuddy(host);
  line->addWidget(label);
  line->addWidget(host, 1);
  for (QPushButton* button : buttons) line->addWidget(button);
  column_->addLayout(line);
  return host;
}

void ToolWindow::AddDns() {
  QLabel* dns = PlainLabel("lblDNS", ShownText(parts_.engine.LookupDNS(subject_.host)), this);
  dns->setAccessibleName("DNS " + dns->text());
  dns->setTextInteractionFlags(Qt::TextSelectableByMouse);
  dns->setVisible(!dns->text().isEmpty());
  column_->addWidget(dns);
}

QPlainTextEdit* ToolWindow::AddText(const char* name, const QString& caption) {
  auto* text = new QPlainTextEdit(this);
  text->setObjectName(name);
  text->setAccessibleName(caption);
  text->setReadOnly(true);
  text->setTabChangesFocus(true);
  text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text->setTabStopDistance(text->fontMetrics().horizontalAdvance(' ') * 4);
  column_->addWidget(text, 1);
  return text;
}

void ToolWindow::AddStatus(const QString& said, const ShowHelp& help) {
  auto* line = new QHBoxLayout;
  status_ = PlainLabel("lblStat", said, this);
  status_->setWordWrap(true);
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  line->addWidget(status_, 1);
  QPushButton* button = NewButton("btnHelp", "Help");
  QObject::connect(button, &QPushButton::clicked, this, [help] { help("network-tools"); });
  line->addWidget(button, 0, Qt::AlignBottom);
  column_->addLayout(line);
}

void ToolWindow::Say(const std::string& text) {
  status_->setText(ShownText(text));
}

QString ShownReport(std::string_view bytes) {
  QStringList parts;
  for (const std::string_view part : Split(bytes, '\t')) parts.append(ShownLines(part));
  return parts.join(QChar('\t'));
}

}  // namespace vantry
