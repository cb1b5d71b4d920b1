// What the windows of the network tools have in common: what they are about, what is said below, and that several may
// be open. Closing one ends what it asks for.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <initializer_list>
#include <string>
#include <string_view>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"
#include "network/subject.h"

namespace vantry {

class ToolWindow : public QDialog {
 protected:
  // `subject` as ReadSubject takes it.
  ToolWindow(const char* name, const WindowParts& parts, std::string_view subject, QWidget* parent);

  // A text with the host, and buttons beside it.
  QLineEdit* AddHost(const char* name, std::initializer_list<QPushButton*> buttons);
  QPushButton* NewButton(const char* name, const QString& caption);
  // The stored host name, if there is one.
  void AddDns();
  QPlainTextEdit* AddText(const char* name, const QString& caption);
  // The last line: what is said, and a button for help.
  void AddStatus(const QString& said, const ShowHelp& help);
  void Say(const std::string& text);

  WindowParts parts_;
  Subject subject_;
  QVBoxLayout* column_;

 private:
  QLabel* status_ = nullptr;
};

// Text of a network as it is shown, with its line ends and tabs.
QString ShownReport(std::string_view bytes);

}  // namespace vantry
