// `frmAlert`: edits an alert.
#pragma once

#include <QLabel>
#include <QListWidget>
#include <QTableWidget>
#include <array>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"

namespace vantry {

class AlertWindow final : public FormDialog {
 public:
  // `store` is given the alert as it was confirmed.
  AlertWindow(const WindowParts& parts, Prompts& prompts, const AlertRec& alert,
              std::function<void(const AlertRec&)> store, FormDialog* parent);

 private:
  void MakeLists();
  void MakeColour();
  void Confirm() override;
  AlertRec Draft();
  void ShowColour();
  void PickFile(const char* control, const char* title, const char* filter);

  WindowParts parts_;
  AlertRec alert_;
  std::function<void(const AlertRec&)> store_;
  QLabel* colour_label_ = nullptr;
  std::array<QTableWidget*, 3> lists_{};
  QListWidget* engines_ = nullptr;
};

}  // namespace vantry
