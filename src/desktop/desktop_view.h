// The engine's calls, handed on to the window once there is one.
#pragma once

#include <memory>
#include <string_view>

#include "desktop/desktop_module.h"
#include "desktop/main_window.h"
#include "desktop/message_box.h"

namespace vantry {

// A QApplication must exist.
class DesktopView : public Desktop {
 public:
  explicit DesktopView(Prompts& prompts) : prompts_(prompts) {}

  // Null before Load, and after the display has gone.
  MainWindow* Window() { return window_.get(); }

  void Load(const WindowParts& parts) override;
  void Unload() override;
  void DisplayIsGone() override;
  void ShowMessage(BoxKind kind, std::string_view text) override;
  void Beep() override;

  void SetStatus(std::string_view text) override;
  void SetDnsStatus(std::string_view text) override;
  void SetMailStatus(std::string_view text) override;
  void ShowSqlError(bool shown) override;
  void UpdateStatus() override;
  void RefreshSiteNode(int16_t site) override;
  void SetSiteImage(int16_t site, int16_t icon) override;
  void ShowCurrentView() override;
  void SetTrayTip(std::string_view text) override;
  void SetCaption(std::string_view text) override;
  void Show() override;
  void Hide() override;

 private:
  Prompts& prompts_;
  std::unique_ptr<MainWindow> window_;
  bool gone_ = false;
};

}  // namespace vantry
