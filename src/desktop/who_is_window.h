// `frmWhoIs`: whose a visitor's name or address is.
#pragma once

#include <QFormLayout>
#include <vector>

#include "desktop/tool_window.h"
#include "network/who_is_run.h"

namespace vantry {

class WhoIsWindow final : public ToolWindow {
 public:
  // Asks at once.
  WhoIsWindow(const WindowParts& parts, const std::string& subject, const ShowHelp& help, QWidget* parent);

 private:
  void ShowAnswer(const std::string& text, const std::vector<WhoIsField>& fields);
  void ShowWhatApplies();

  QFormLayout* fields_;
  QPlainTextEdit* text_ = nullptr;
  QPushButton* cancel_ = nullptr;
  WhoIsRun run_;
};

}  // namespace vantry
