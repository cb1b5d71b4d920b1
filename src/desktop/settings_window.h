// `frmSettings`: edits the settings of the whole program.
#pragma once

#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QString>
#include <QTableWidget>
#include <QTimer>
#include <QTreeWidget>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"
#include "forms/sms_test.h"

namespace vantry {

class SettingsWindow final : public FormDialog {
 public:
  SettingsWindow(const WindowParts& parts, Prompts& prompts, ShowHelp help, QWidget* parent);

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
  Settings ShownDraft();
  // The texts of the lists that can be typed into.
  std::array<std::vector<std::string>, 3> TypedLists() const;
  void WriteEngines(const Settings& draft);
  void ShowWhatApplies();
  void ChoosePage(size_t page);
  void FillExceptions();
  void EditException(int row);
  void EditColours();
  void TestEmail();
  void TestSms();
  void TestLogin();
  QPlainTextEdit* AddTrace(const char* page, const char* name, const QString& caption);
  void ApplyFolder();
  void ViewArchiveLog();

  WindowParts parts_;
  const Settings shown_;  // As they were when the dialog opened.
  Settings colours_;      // With the colours that were confirmed since.
  std::array<std::vector<std::string>, 3> shown_lists_;
  QTreeWidget* side_ = nullptr;
  QLabel* help_line_ = nullptr;
  QTableWidget *engines_ = nullptr, *extensions_ = nullptr, *exceptions_ = nullptr;
  QLineEdit* folder_ = nullptr;
  QPlainTextEdit *mail_trace_ = nullptr, *sms_trace_ = nullptr;
  std::unique_ptr<SmsTest> sms_test_;
  QTimer sms_limit_;
};

}  // namespace vantry
