// `frmWizard`: adds a site in a few steps.
#pragma once

#include <QLabel>
#include <QPlainTextEdit>
#include <functional>
#include <memory>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"
#include "forms/ftp_test.h"

namespace vantry {

class SiteWizard final : public FormDialog {
 public:
  // `help` shows the help page of this name.
  SiteWizard(const WindowParts& parts, Prompts& prompts, std::function<void(const QString&)> help, QWidget* parent);

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

  WindowParts parts_;
  std::function<void(const QString&)> show_help_;
  QLabel *heading_ = nullptr, *ftp_result_ = nullptr;
  QPlainTextEdit* ftp_list_ = nullptr;
  QPushButton *previous_ = nullptr, *next_ = nullptr, *web_help_ = nullptr;
  std::unique_ptr<FtpTest> ftp_test_;
  bool ftp_passed_ = false, ftp_passive_ = false;
};

}  // namespace vantry
