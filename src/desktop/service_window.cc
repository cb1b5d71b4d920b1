#include "desktop/service_window.h"

#include <QTabBar>
#include <utility>

#include "desktop/shown_text.h"
#include "forms/service_form.h"

namespace vantry {

ServiceWindow::ServiceWindow(const WindowParts& parts, Prompts& prompts, ShowHelp help, QWidget* parent)
    : FormDialog("frmService", parts.t, prompts, std::move(help), parent), parts_(parts) {
  help_page_ = "service";
  setWindowTitle("Install Vantry Service");
  pages_->tabBar()->hide();
  pages_->AddFields(kServiceFields);
  pages_->Show(kServiceFields, ServiceForm());
  AddButtons();
  auto* install = findChild<QPushButton*>("btnOK");
  install->setObjectName("btnInstall");
  install->setText("&Install");
  pages_->Find("chkSystem").OnChange(this, [this] { LockTexts(); });
}

void ServiceWindow::LockTexts() {
  const bool system = pages_->Find("chkSystem").IsOn();
  for (const char* control : {"txtAccount", "txtPassword", "txtPassword2"}) {
    pages_->Find(control).row->setEnabled(!system);
  }
}

void ServiceWindow::Confirm() {
  ServiceForm form;
  pages_->Read(kServiceFields, form);
  const std::unique_ptr<ServiceInstaller> installer = parts_.installer();
  const ServiceMessage message = InstallService(form, t_.ServiceMode, *installer);
  // On the window behind: what closes takes its boxes along.
  prompts_.Tell(message.kind == BoxKind::kWarning ? this : parentWidget(), message.kind, ShownLines(message.text));
  // What was filled in can be put right; what the machine refuses can't be here.
  if (message.kind != BoxKind::kWarning) accept();
}

}  // namespace vantry
