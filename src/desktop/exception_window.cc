#include "desktop/exception_window.h"

#include <utility>

#include "config/value_forms.h"
#include "desktop/shown_text.h"
#include "forms/settings_form.h"

namespace vantry {

ExceptionWindow::ExceptionWindow(const WindowParts& parts, Prompts& prompts, const ExceptionType& type,
                                 std::function<void(const ExceptionType&)> store, FormDialog* parent)
    : FormDialog("frmSettingsExtype", parts.t, prompts, parent->Help(), parent),
      parts_(parts),
      type_(type),
      store_(std::move(store)) {
  help_page_ = "exceptions";
  pages_->AddFields(kExceptionFields);
  pages_->Show(kExceptionFields, type_);
  pages_->Find("txtNumber").text->setReadOnly(true);
  // A value that is not a number is kept while nobody types another, but not shown.
  bool is_number = false;
  ShownText(type_.Value).toDouble(&is_number);
  if (!is_number) pages_->Find("txtValue").ShowNothing();
  QPushButton* pick = AddButtonBeside(pages_->Find("txtEXE"), "btnPickEXE", "Browse...");
  Picks(pick, [this] {
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
  draft.Value = pages_->Find("txtValue").text->text().toStdString();
  setWindowTitle("Exception Types: [" + ShownText(ShownDescription(draft)) + "]");
}

void ExceptionWindow::Confirm() {
  parts_.log.Guard("frmSettingsExType.btnOK_Click", [this] {
    ExceptionType draft = type_;
    pages_->Read(kExceptionFields, draft);
    TidyExceptionType(draft);
    if (const auto problem = CheckExceptionType(draft, parts_.files); problem && Refused(*problem)) return Status::Ok();
    store_(draft);
    accept();
    return Status::Ok();
  });
}

}  // namespace vantry
