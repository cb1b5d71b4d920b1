// `frmProperties`: edits a site.
#pragma once

#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <string>

#include "desktop/desktop_module.h"
#include "desktop/folder_looker.h"
#include "desktop/form_dialog.h"

namespace vantry {

class SiteProperties final : public FormDialog {
 public:
  // `site` is the number of the site, which is paused meanwhile.
  SiteProperties(const WindowParts& parts, Prompts& prompts, int16_t site, ShowHelp help, QWidget* parent);

 private:
  void MakeExclusions();
  void MakeAlerts();
  void Confirm() override;
  SiteRec Draft();
  void ShowWhatApplies();
  void LookAtFolder();
  void ShowReadNow(const SiteRec& site, const LogLook* look);
  void MakeReadNow();
  void PickFolder();
  void PickLogo();
  void FillAlerts(int row);
  void EditAlert(bool is_new);
  void RemoveAlert();
  void MoveAlert(int by);

  WindowParts parts_;
  int16_t site_;
  bool renaming_ = false;
  QLabel *full_url_ = nullptr, *read_now_ = nullptr;
  QTimer look_;  // Until nobody has typed for a moment.
  FolderLooker looker_;
  QTableWidget *exclude_ = nullptr, *alerts_ = nullptr;
  const std::string shown_exclude_;  // As it was when the dialog opened.
};

}  // namespace vantry
