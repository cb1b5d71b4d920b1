// `frmKnownVisitor`: a friendly name for a visitor.
#pragma once

#include <string>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"
#include "network/subject.h"

namespace vantry {

class KnownVisitorWindow final : public FormDialog {
 public:
  // `subject` as ReadSubject takes it.
  KnownVisitorWindow(const WindowParts& parts, Prompts& prompts, const std::string& subject, ShowHelp help,
                     QWidget* parent);

 private:
  void AddLine(const char* name, const QString& caption, const std::string& text);
  void Confirm() override;

  WindowParts parts_;
  Subject subject_;
};

}  // namespace vantry
