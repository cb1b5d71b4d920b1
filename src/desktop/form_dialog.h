// What the dialogs that edit the tables have in common: pages, OK, Cancel and Help, and that nothing is stored in the
// middle of a scan.
#pragma once

#include <QDialog>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QTimer>
#include <functional>
#include <string>

#include "core/tables.h"
#include "desktop/form_pages.h"
#include "desktop/message_box.h"

namespace vantry {

class FormDialog : public QDialog {
 public:
  FormDialog(const char* name, LiveTables& t, Prompts& prompts, std::function<void()> help, QWidget* parent);

 protected:
  // Below the pages. Called last when a dialog is made.
  void AddButtons();
  // What OK does. A dialog that is to close calls accept().
  virtual void Confirm() = 0;
  // Does it at once, or when the scan that is under way has ended: it holds places of the tables meanwhile. The dialog
  // takes nothing until then.
  void WhenQuiet(std::function<void()> step);
  // Tells what is wrong and goes there. False when somebody was asked and said yes.
  bool Refused(const FormProblem& problem);

  LiveTables& t_;
  Prompts& prompts_;
  FormPages* pages_;

 private:
  void TryStep();
  std::function<void()> help_, step_;
  QTimer wait_;
};

}  // namespace vantry
