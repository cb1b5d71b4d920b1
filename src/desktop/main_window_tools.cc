// What the main window's commands on who is behind an address do.
#include "desktop/form_dialog.h"
#include "desktop/group_window.h"
#include "desktop/known_visitor_window.h"
#include "desktop/list_source.h"
#include "desktop/main_window.h"
#include "desktop/ping_window.h"
#include "desktop/tool_window.h"
#include "desktop/trace_window.h"
#include "desktop/who_is_window.h"
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

// What they ask the network with goes before the window does.
void MainWindow::CloseTools() {
  for (QDialog* dialog : findChildren<QDialog*>(Qt::FindDirectChildrenOnly)) {
    if (dynamic_cast<ToolWindow*>(dialog)) delete dialog;
  }
}

void MainWindow::OpenPing(const SelectedRow& row) {
  const vantry::ShowHelp help = [this](const QString& page) { ShowHelp(page); };
  (new PingWindow(parts_, SubjectText(row.address, row.site), help, this))->show();
}

void MainWindow::OpenTrace(const SelectedRow& row) {
  const vantry::ShowHelp help = [this](const QString& page) { ShowHelp(page); };
  (new TraceWindow(parts_, SubjectText(row.address, row.site), help, this))->show();
}

void MainWindow::OpenWhoIs(const SelectedRow& row) {
  const vantry::ShowHelp help = [this](const QString& page) { ShowHelp(page); };
  (new WhoIsWindow(parts_, row.dns, help, this))->show();
}

}  // namespace vantry
