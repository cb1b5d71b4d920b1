// `frmSettingsExtype`: edits an exception type.
#pragma once

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"

namespace vantry {

class ExceptionWindow final : public FormDialog {
 public:
  // `store` is given the type as it was confirmed.
  ExceptionWindow(const WindowParts& parts, Prompts& prompts, const ExceptionType& type,
                  std::function<void(const ExceptionType&)> store, FormDialog* parent);

 private:
  void Confirm() override;
  void ShowCaption();

  WindowParts parts_;
  ExceptionType type_;
  std::function<void(const ExceptionType&)> store_;
};

}  // namespace vantry
