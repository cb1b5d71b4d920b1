// `frmGroup`: the masks that make visitors with similar host names one.
#pragma once

#include <QTableWidget>
#include <array>
#include <string>
#include <vector>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"

namespace vantry {

class GroupWindow final : public FormDialog {
 public:
  // `dns` is put into a new row; empty: none.
  GroupWindow(const WindowParts& parts, Prompts& prompts, const std::string& dns, ShowHelp help, QWidget* parent);

 private:
  void MakeGrid();
  void AddRow(const std::string& dns);
  std::vector<std::string> Rows() const;
  void Confirm() override;

  WindowParts parts_;
  const std::array<std::string, Settings::kMaxMasks> masks_;  // As they were when the dialog opened.
  QTableWidget* grid_ = nullptr;
};

}  // namespace vantry
