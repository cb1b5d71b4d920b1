#include "desktop/exception_window.h"

#include <utility>

#include "config/value_forms.h"
#include "desktop/shown_text.h"
#include "forms/settings_form.h"

namespace vantry {

ExceptionWindow::ExceptionWindow(const WindowParts& parts, Prompts& prompts, const ExceptionType& type,
                                 std::function<void(const ExceptionType&)> store, QWidget* parent)
    : FormDialog("frmSettingsExtype", parts.t, prompts, nullptr, parent),
      parts_(parts),
      type_(type),
      store_(std::move(store)) {
  pages_->AddFields(kExceptionFields);
  pages_->Show(kExceptionFields, type_);
  pages_->Find("txtNumber").text->setReadOnly(true);
  // A value that is no number is kept, but not shown.
  bool is_number = false;
  ShownText(type_.Value).toDouble(&is_number);
  pages_->Find("txtValue").row->setVisible(is_number);
  QPushButton* pick = AddButtonBeside(pages_->Find("txtEXE"), "btnPickEXE", "Browse...");
  QObject::connect(pick, &QPushButton::clicked, this, [this] {
    QLineEdit* text = pages_->Find("txtEXE").text;
    const QString file = prompts_.FileToOpen(this, "Select Script Or EXE File", text->text(),
                                             "Program Files (*.EXE *.exe);;VBScript (*.VBS *.vbs);;All Files (*)");
    if (!file.isEmpty()) text->setText(file);
  });
  AddButtons();
  for (const char* control : {"txtDesc", "txtValue"}) {
    pages_->Find(control).OnChange(this, [this] { ShowCaption(); });
  }
  ShowCaption();
}

void ExceptionWindow::ShowCaption() {
  ExceptionType draft = type_;
  pages_->Read(kExceptionFields, draft);
  setWindowTitle("Exception Types: [" + ShownText(ShownDescription(draft)) + "]");
}

void ExceptionWindow::Confirm() {
  parts_.log.Guard("frmSettingsExType.btnOK_Click", [this] {
    ExceptionType draft = type_;
    pages_->Read(kExceptionFields, draft);
    if (const auto problem = CheckExceptionType(draft, parts_.files); problem && Refused(*problem)) return Status::Ok();
    store_(draft);
    accept();
    return Status::Ok();
  });
}

}  // namespace vantry
