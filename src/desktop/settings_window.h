// `frmSettings`: edits the settings of the whole program.
#pragma once

#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QTableWidget>
#include <QTreeWidget>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"

namespace vantry {

class SettingsWindow final : public FormDialog {
 public:
  SettingsWindow(const WindowParts& parts, Prompts& prompts, std::function<void()> help, QWidget* parent);

 private:
  void MakeSideBar();
  void MakePages();
  void MakeDatabasePage();
  void MakeReferrersPage();
  void MakeExtensionsPage();
  void MakeExceptionsPage();
  void AddPickers();
  QPushButton* AddButton(const char* page, const char* name, const QString& caption, std::function<void()> run);
  void Confirm() override;
  Settings Draft();
  void WriteEngines(const Settings& draft);
  void ShowWhatApplies();
  void ChoosePage(size_t page);
  void FillExceptions();
  void EditException(int row);
  void EditColours();
  void TestEmail();
  void TestLogin();
  void ApplyFolder();
  void ViewArchiveLog();

  WindowParts parts_;
  Settings draft_;  // What no control of the pages themselves holds: colours and lists.
  QTreeWidget* side_ = nullptr;
  QLabel* help_line_ = nullptr;
  QTableWidget *engines_ = nullptr, *extensions_ = nullptr, *exceptions_ = nullptr;
  QLineEdit* folder_ = nullptr;
  QPlainTextEdit* trace_ = nullptr;
};

}  // namespace vantry
