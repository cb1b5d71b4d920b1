// `frmWizard`: adds a site in a few steps.
#pragma once

#include <QLabel>
#include <QPlainTextEdit>
#include <QTimer>
#include <functional>
#include <memory>

#include "desktop/desktop_module.h"
#include "desktop/folder_looker.h"
#include "desktop/form_dialog.h"
#include "forms/ftp_test.h"

namespace vantry {

class SiteWizard final : public FormDialog {
 public:
  SiteWizard(const WindowParts& parts, Prompts& prompts, ShowHelp help, QWidget* parent);

 private:
  void MakeFtpPage();
  void MakeButtons();
  void ShowPage(int page);
  void ShowWhatApplies();
  void Next();
  void Back();
  void TestFtp();
  void FtpTested(bool passed, bool passive, bool found);
  void Confirm() override;
  SiteRec Draft();
  bool TestFolder();
  void PickFolder();
  void MakeLook();
  void LookAtFolder();
  void ShowLook(const SiteRec& draft, const LogLook* look);

  WindowParts parts_;
  QLabel *heading_ = nullptr, *ftp_result_ = nullptr;
  QPlainTextEdit *ftp_list_ = nullptr, *look_ = nullptr;
  QTimer look_timer_;  // Until nobody has typed for a moment.
  FolderLooker looker_;
  SiteRec seen_;  // Where the last look has found files that fit; else without a folder.
  QPushButton *previous_ = nullptr, *next_ = nullptr, *web_help_ = nullptr;
  std::unique_ptr<FtpTest> ftp_test_;
  bool ftp_passed_ = false, ftp_passive_ = false;
};

}  // namespace vantry
