// `frmPing`: whether a visitor's machine answers.
#pragma once

#include <memory>

#include "desktop/tool_window.h"
#include "network/ping_run.h"

namespace vantry {

class PingWindow final : public ToolWindow {
 public:
  PingWindow(const WindowParts& parts, std::string_view subject, const ShowHelp& help, QWidget* parent);

 private:
  void StartOrStop();
  void ShowWhatApplies();

  QPushButton* start_;
  QLineEdit* host_;
  QPlainTextEdit* track_ = nullptr;
  std::unique_ptr<PingRun> run_;  // The last one.
};

}  // namespace vantry
