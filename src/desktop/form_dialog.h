// What the dialogs that edit the tables have in common: pages, OK, Cancel and Help, and that nothing is stored in the
// middle of a scan.
#pragma once

#include <QDialog>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QString>
#include <QTimer>
#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "core/tables.h"
#include "desktop/form_pages.h"
#include "desktop/message_box.h"

namespace vantry {

// Shows the help page of this name.
using ShowHelp = std::function<void(const QString& page)>;

// Shows a dialog that goes with its closing; nothing that is under way waits for it.
void OpenBeside(QDialog* dialog);

class FormDialog : public QDialog {
 public:
  // Without `help` there is no button for it.
  FormDialog(const char* name, LiveTables& t, Prompts& prompts, ShowHelp help, QWidget* parent);
  // For a dialog that this one opens.
  const ShowHelp& Help() const { return help_; }

 protected:
  static constexpr int kLookMs = 250;  // A folder is looked at when nobody has typed for so long.

  // Below the pages. Called last when a dialog is made.
  void AddButtons();
  // What OK does. A dialog that is to close calls accept().
  virtual void Confirm() = 0;
  // Does it at once, or when the scan that is under way has ended: it holds places of the tables meanwhile. The dialog
  // takes nothing until then.
  void WhenQuiet(std::function<void()> step);
  // Tells it at the next turn of the loop: for what a server answers, whose client must have come to its end first.
  void TellLater(BoxKind kind, const std::string& text);
  // A click asks for a file or colour. That waits for its answer, so it comes after the scan that is under way.
  void Picks(QPushButton* button, std::function<void()> ask);
  // Tells what is wrong and goes there. False when somebody was asked and said yes.
  bool Refused(const FormProblem& problem);

  LiveTables& t_;
  Prompts& prompts_;
  FormPages* pages_;
  QString help_page_;  // That of the button; a dialog of many pages sets it for each.

 private:
  void TryStep();
  ShowHelp help_;
  std::deque<std::function<void()>> steps_;
  QTimer wait_, tell_;
  std::deque<std::pair<BoxKind, std::string>> to_tell_;
};

}  // namespace vantry
