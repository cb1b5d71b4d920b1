#include "desktop/about_window.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QSysInfo>

#include "desktop/icons.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

QLabel* WrappedLabel(const char* name, const QString& text, QWidget* parent) {
  QLabel* label = PlainLabel(name, text, parent);
  label->setWordWrap(true);
  return label;
}

}  // namespace

AboutWindow::AboutWindow(const AboutFacts& facts, QWidget* parent) : QDialog(parent) {
  setObjectName("frmAbout");
  setWindowTitle("About Vantry");
  auto* grid = new QGridLayout(this);
  const int em = fontMetrics().horizontalAdvance('m');
  grid->setHorizontalSpacing(2 * em);
  grid->setVerticalSpacing(em);

  auto* icon = WrappedLabel("imgIcon", {}, this);
  icon->setAccessibleName("Vantry");
  icon->setPixmap(ProgramIcon().pixmap(QSize(5 * em, 5 * em), devicePixelRatioF()));
  grid->addWidget(icon, 0, 0, 2, 1, Qt::AlignTop);

  QLabel* title = WrappedLabel("lblTitle", "Vantry " + ShownText(facts.version), this);
  QFont large = title->font();
  large.setPointSizeF(large.pointSizeF() * 1.6);
  large.setBold(true);
  title->setFont(large);
  grid->addWidget(title, 0, 1);
  grid->addWidget(
      WrappedLabel("lblDescription",
                   "Shows who is on your web sites right now, by following the logs of their servers.", this),
      1, 1);

  QLabel* lines = WrappedLabel("lblFacts", Lines(facts), this);
  lines->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  lines->setMinimumWidth(40 * em);
  grid->addWidget(lines, 2, 1);

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  QPushButton* copy = buttons->addButton("&Copy", QDialogButtonBox::ActionRole);
  copy->setObjectName("btnCopy");
  copy->setAutoDefault(false);
  copy->setToolTip("Copy these lines for a report of a defect");
  copy->setIcon(CommandIcon("miCopy"));
  QPushButton* close = buttons->button(QDialogButtonBox::Close);
  close->setObjectName("btnClose");
  close->setDefault(true);
  grid->addWidget(buttons, 3, 0, 1, 2);
  QObject::connect(copy, &QPushButton::clicked, this,
                   [text = Lines(facts)] { QGuiApplication::clipboard()->setText(text); });
  QObject::connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

QString AboutWindow::Lines(const AboutFacts& facts) {
  return QString("Version: %1\nBuild: %2\nQt: %3 (%4)\nSystem: %5, %6\nFolder: %7")
      .arg(ShownText(facts.version), ShownText(facts.build), qVersion(), QGuiApplication::platformName(),
           QSysInfo::prettyProductName(), QSysInfo::currentCpuArchitecture(), ShownText(facts.folder));
}

}  // namespace vantry
