#include "desktop/form_dialog.h"

#include <QVBoxLayout>
#include <utility>

#include "desktop/shown_text.h"

namespace vantry {

FormDialog::FormDialog(const char* name, LiveTables& t, Prompts& prompts, std::function<void()> help, QWidget* parent)
    : QDialog(parent), t_(t), prompts_(prompts), pages_(new FormPages(this)), help_(std::move(help)) {
  setObjectName(name);
  auto* column = new QVBoxLayout(this);
  column->addWidget(pages_, 1);
  wait_.setInterval(20);
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
  QObject::connect(buttons, &QDialogButtonBox::helpRequested, this, [this] { help_(); });
  layout()->addWidget(buttons);
}

void FormDialog::WhenQuiet(std::function<void()> step) {
  step_ = std::move(step);
  TryStep();
}

void FormDialog::TryStep() {
  const bool waits = t_.ScanInProgress && !t_.Closing;
  setEnabled(!waits);
  if (waits) return wait_.start();
  wait_.stop();
  if (t_.Closing) return reject();
  if (const auto step = std::exchange(step_, nullptr)) step();
}

bool FormDialog::Refused(const FormProblem& problem) {
  if (problem.asks) {
    const auto buttons = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    if (prompts_.Ask(this, ShownText(problem.text), buttons, QMessageBox::No) == QMessageBox::Yes) return false;
  } else {
    prompts_.Tell(this, BoxKind::kInformation, ShownLines(problem.text));
  }
  pages_->GoTo(problem.control);
  return true;
}

}  // namespace vantry
