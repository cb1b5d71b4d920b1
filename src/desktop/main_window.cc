#include "desktop/main_window.h"

#include <QCloseEvent>

#include "desktop/history_window.h"
#include "desktop/icons.h"

namespace vantry {

MainWindow::MainWindow(const WindowParts& parts, Prompts& prompts)
    : parts_(parts), prompts_(prompts), t_(parts_.t), messages_(this) {
  setObjectName("frmLog");
  setWindowIcon(ProgramIcon());
  setDockOptions(AnimatedDocks | AllowNestedDocks | AllowTabbedDocks);
  MakeActions();
  MakeMenus();
  MakeHeader();
  MakeLists();
  MakeStatusBar();
  MakeTray();
  history_ = std::make_unique<HistoryWindows>(
      parts_, prompts_, [this](const QString& page) { ShowHelp(page); }, this);
  refresh_timer_.setInterval(kRefreshMs);
  QObject::connect(&refresh_timer_, &QTimer::timeout, this, [this] { Refresh(); });
  shown_timer_.setSingleShot(true);
  QObject::connect(&shown_timer_, &QTimer::timeout, this, [this] { AfterFirstShow(); });
}

// While it is still whole, as its bands tell it that they go out of sight. The engine may be gone by now.
MainWindow::~MainWindow() {
  unloaded_ = true;
  hide();
}

void MainWindow::Load() {
  RestorePlace();
  RestoreLayout();
  EnableWizards();
  ChooseView(CurrentViewType());
  refresh_timer_.start();
  show();
  // With the loop: a question must not hold up the start of the engine.
  shown_timer_.start(0);
}

void MainWindow::AfterFirstShow() {
  if (unloaded_) return;
  if (parts_.settings.AutoHide && !t_.InTray) {
    PutAway();
  } else {
    AskAboutImport();
  }
}

void MainWindow::Unload() {
  if (unloaded_) return;
  unloaded_ = true;
  refresh_timer_.stop();
  CloseTools();
  history_->CloseAll();
  SavePlace();
  SaveLayout();
  tray_.hide();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  // The end of the program closes every window.
  if (unloaded_ || t_.Closing) return event->accept();
  event->ignore();
  if (t_.ServiceMode) return HideInTray();
  prompts_.Confirm(this, "Are you sure you want to close Vantry?", kYesNo, [this] { parts_.engine.CloseProgram(); });
}

void MainWindow::SetStatus(const QString& text) {
  state_->setText(text);
  state_->setVisible(!text.isEmpty());
  // The end of the program may take half a minute, and nobody turns the loop for a picture then.
  if (t_.Closing && isVisible()) repaint();
}

void MainWindow::SetDnsStatus(const QString& text) {
  dns_status_->setText(text);
  dns_status_->setVisible(!text.isEmpty());
}

void MainWindow::SetMailStatus(const QString& text) {
  mail_status_->setText(text);
  mail_status_->setVisible(!text.isEmpty());
}

void MainWindow::ShowSqlError(bool shown) {
  sql_status_->setVisible(shown);
}

void MainWindow::ShowFromTray() {
  t_.InTray = false;
  tray_.hide();
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  activateWindow();
  Refresh();
}

// Without a tray the person in front of it could not bring the window back, so it is made small.
void MainWindow::PutAway() {
  if (!QSystemTrayIcon::isSystemTrayAvailable() && !t_.ServiceMode) return showMinimized();
  HideInTray();
}

void MainWindow::HideInTray() {
  tray_.show();
  hide();
  was_hidden_ = true;
}

std::array<ListPane*, 6> MainWindow::Lists() const {
  return {lists_[0], lists_[1], lists_[2], lists_[3], pages_, trace_};
}

QAction* MainWindow::ActionOf(std::string_view name) const {
  const auto found = actions_.find(name);
  return found == actions_.end() ? nullptr : found->second;
}

}  // namespace vantry
