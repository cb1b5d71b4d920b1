#include "desktop/main_window.h"

namespace vantry {

MainWindow::MainWindow(const WindowParts& parts, Prompts& prompts) : parts_(parts), prompts_(prompts), messages_(this) {
  setObjectName("frmLog");
}

MainWindow::~MainWindow() = default;

void MainWindow::Load() {
  show();
}
void MainWindow::Unload() {}
void MainWindow::SetStatus(const QString&) {}
void MainWindow::SetDnsStatus(const QString&) {}
void MainWindow::SetMailStatus(const QString&) {}
void MainWindow::UpdateStatus() {}
void MainWindow::RefreshSiteNode(int16_t) {}
void MainWindow::SetSiteImage(int16_t, int16_t) {}
void MainWindow::ShowCurrentView() {}
void MainWindow::SetTrayTip(const QString&) {}
void MainWindow::ShowFromTray() {
  show();
}
void MainWindow::HideInTray() {
  hide();
}

}  // namespace vantry
