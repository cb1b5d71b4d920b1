// `frmProperties`: edits a site.
#pragma once

#include <QLabel>
#include <QPushButton>
#include <QTableWidget>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"

namespace vantry {

class SiteProperties final : public FormDialog {
 public:
  // `site` is the number of the site, which is paused meanwhile.
  SiteProperties(const WindowParts& parts, Prompts& prompts, int16_t site, std::function<void()> help, QWidget* parent);

 private:
  void MakeExclusions();
  void MakeAlerts();
  void Confirm() override;
  void Store(const SiteRec& draft);
  SiteRec Draft();
  void ShowWhatApplies();
  void PickFolder();
  void PickLogo();
  void FillAlerts(int row);
  void EditAlert(bool is_new);
  void RemoveAlert();
  void MoveAlert(int by);

  WindowParts parts_;
  int16_t site_;
  bool renaming_ = false;
  QLabel* full_url_ = nullptr;
  QTableWidget *exclude_ = nullptr, *alerts_ = nullptr;
};

}  // namespace vantry
