// What the main window's commands on who is behind an address do.
#include "desktop/form_dialog.h"
#include "desktop/group_window.h"
#include "desktop/known_visitor_window.h"
#include "desktop/list_source.h"
#include "desktop/main_window.h"
#include "network/subject.h"

namespace vantry {

void MainWindow::EditGroups(const std::string& dns) {
  if (findChild<QDialog*>("frmGroup")) return;
  auto* dialog = new GroupWindow(
      parts_, prompts_, dns, [this](const QString& page) { ShowHelp(page); }, this);
  OpenBeside(dialog);
}

void MainWindow::NameVisitor(const SelectedRow& row) {
  if (findChild<QDialog*>("frmKnownVisitor")) return;
  auto* dialog = new KnownVisitorWindow(
      parts_, prompts_, SubjectText(row.address, row.site), [this](const QString& page) { ShowHelp(page); }, this);
  OpenBeside(dialog);
}

}  // namespace vantry
