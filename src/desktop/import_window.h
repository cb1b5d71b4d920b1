// `frmImport`: lists the sites that this machine's web servers have, and adds those that are checked.
#pragma once

#include <QPlainTextEdit>
#include <QTableWidget>
#include <vector>

#include "desktop/desktop_module.h"
#include "desktop/form_dialog.h"
#include "import/config_tree.h"
#include "import/judge.h"

namespace vantry {

class ImportWindow final : public FormDialog {
 public:
  // Reads the configuration that is in `tree` at once, and not again.
  ImportWindow(const WindowParts& parts, const ConfigTree& tree, Prompts& prompts, ShowHelp help, QWidget* parent);

 private:
  void Find(const ConfigTree& tree);
  void ShowSites();
  void ShowMore(int row);
  void Confirm() override;

  WindowParts parts_;
  std::vector<JudgedSite> sites_;
  QTableWidget* list_;
  QPlainTextEdit* more_;
};

}  // namespace vantry
