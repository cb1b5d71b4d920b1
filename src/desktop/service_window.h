// `frmService`: installs the program as a service.
#pragma once

#include <memory>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"

namespace vantry {

class ServiceWindow final : public FormDialog {
 public:
  ServiceWindow(const WindowParts& parts, Prompts& prompts, ShowHelp help, QWidget* parent);

 private:
  void Confirm() override;
  void LockTexts();

  WindowParts parts_;
};

}  // namespace vantry
