// What the main window's commands on the history do.
#include "desktop/history_window.h"
#include "desktop/list_source.h"
#include "desktop/main_window.h"

namespace vantry {

void MainWindow::ShowHistory(HistoryKind kind) {
  const SiteRec* site = ChosenSite();
  history_->Open(kind, {.site = site ? site->Name : std::string()});
}

void MainWindow::ShowHistory(HistoryKind kind, const SelectedRow& row) {
  if (row.site < 1 || row.site > t_.SiteCount()) return;
  history_->Open(kind, {.ip = row.address, .site = t_.Site(row.site).Name, .visit = row.visit});
}

}  // namespace vantry
