#include "desktop/form_dialog.h"

#include <QVBoxLayout>
#include <utility>

#include "desktop/shown_text.h"

namespace vantry {

void OpenBeside(QDialog* dialog) {
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->open();
}

FormDialog::FormDialog(const char* name, LiveTables& t, Prompts& prompts, ShowHelp help, QWidget* parent)
    : QDialog(parent), t_(t), prompts_(prompts), pages_(new FormPages(this)), help_(std::move(help)) {
  setObjectName(name);
  auto* column = new QVBoxLayout(this);
  column->addWidget(pages_, 1);
  wait_.setInterval(20);
  tell_.setInterval(0);
  tell_.setSingleShot(true);
  QObject::connect(&tell_, &QTimer::timeout, this, [this] {
    const auto [kind, message] = std::move(to_tell_.front());
    to_tell_.pop_front();
    if (!to_tell_.empty()) tell_.start();
    prompts_.Tell(this, kind, ShownLines(message));
  });
  QObject::connect(&wait_, &QTimer::timeout, this, [this] { TryStep(); });
}

void FormDialog::AddButtons() {
  pages_->Finish();
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  if (help_) buttons->addButton(QDialogButtonBox::Help)->setObjectName("btnHelp");
  buttons->button(QDialogButtonBox::Ok)->setObjectName("btnOK");
  buttons->button(QDialogButtonBox::Ok)->setDefault(true);
  buttons->button(QDialogButtonBox::Cancel)->setObjectName("btnCancel");
  QObject::connect(buttons, &QDialogButtonBox::accepted, this, [this] { WhenQuiet([this] { Confirm(); }); });
  QObject::connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  QObject::connect(buttons, &QDialogButtonBox::helpRequested, this, [this] { help_(help_page_); });
  layout()->addWidget(buttons);
}

void FormDialog::WhenQuiet(std::function<void()> step) {
  steps_.push_back(std::move(step));
  TryStep();
}

void FormDialog::TryStep() {
  const bool waits = t_.ScanInProgress && !t_.Closing;
  setEnabled(!waits);
  if (waits) return wait_.start();
  wait_.stop();
  if (t_.Closing) return reject();
  if (steps_.empty()) return;
  const auto step = std::move(steps_.front());
  steps_.pop_front();
  if (!steps_.empty()) wait_.start();
  step();
}

void FormDialog::TellLater(BoxKind kind, const std::string& text) {
  to_tell_.emplace_back(kind, text);
  tell_.start();
}

void FormDialog::Picks(QPushButton* button, std::function<void()> ask) {
  QObject::connect(button, &QPushButton::clicked, this, [this, ask = std::move(ask)] { WhenQuiet(ask); });
}

bool FormDialog::Refused(const FormProblem& problem) {
  if (problem.asks) {
    const auto buttons = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    if (prompts_.Ask(this, ShownText(problem.text), buttons, QMessageBox::No) == QMessageBox::Yes) return false;
  } else {
    prompts_.Tell(this, problem.warns ? BoxKind::kWarning : BoxKind::kInformation, ShownLines(problem.text));
  }
  pages_->GoTo(problem.control);
  return true;
}

}  // namespace vantry
