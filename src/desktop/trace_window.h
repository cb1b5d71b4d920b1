// `frmTracert`: the way to a visitor's machine.
#pragma once

#include <QTableWidget>
#include <memory>

#include "desktop/tool_window.h"
#include "network/trace_run.h"
#include "ports/resolver.h"

namespace vantry {

class TraceWindow final : public ToolWindow {
 public:
  TraceWindow(const WindowParts& parts, std::string_view subject, const ShowHelp& help, QWidget* parent);

 private:
  void MakeGrid();
  void Start();
  void AddHop(const TraceHop& hop);
  void ShowName(int32_t hop, const std::string& name);
  void ShowWhatApplies();

  QPushButton *go_, *cancel_;
  QLineEdit* host_;
  QTableWidget* grid_ = nullptr;
  std::unique_ptr<Resolver> names_;  // Of the run, which goes first.
  std::unique_ptr<TraceRun> run_;    // The last one.
};

}  // namespace vantry
