// `frmLog`: the program's one main window. It shows the live tables and hands commands on; it decides nothing.
#pragma once

#include <QMainWindow>

#include "desktop/desktop_module.h"
#include "desktop/message_box.h"

namespace vantry {

class MainWindow final : public QMainWindow {
 public:
  MainWindow(const WindowParts& parts, Prompts& prompts);
  ~MainWindow() override;

  void Load();
  void Unload();
  MessageQueue& Messages() { return messages_; }

  void SetStatus(const QString& text);
  void SetDnsStatus(const QString& text);
  void SetMailStatus(const QString& text);
  void UpdateStatus();
  void RefreshSiteNode(int16_t site);
  void SetSiteImage(int16_t site, int16_t icon);
  void ShowCurrentView();
  void SetTrayTip(const QString& text);
  void ShowFromTray();
  void HideInTray();

 private:
  WindowParts parts_;
  Prompts& prompts_;
  MessageQueue messages_;
};

}  // namespace vantry
