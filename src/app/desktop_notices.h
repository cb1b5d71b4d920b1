// Messages to people: in the window where there is one, on the console in any case.
#pragma once

#include "desktop/desktop_module.h"
#include "ports/notices.h"

namespace vantry {

class DesktopNotices final : public Notices {
 public:
  // `window` may be null.
  DesktopNotices(Notices& console, Desktop* window) : console_(console), window_(window) {}

  void MessageBox(BoxKind kind, std::string_view text) override {
    console_.MessageBox(kind, text);
    if (window_) window_->ShowMessage(kind, text);
  }
  void Beep() override {
    if (window_) window_->Beep();
  }
  void PlaySound(const std::string& path) override { console_.PlaySound(path); }
  void LogEvent(std::string_view text, EventLevel level) override { console_.LogEvent(text, level); }
  void Tell(std::string_view text) override {
    console_.Tell(text);
    // Whoever started it from a menu sees no console.
    if (window_) window_->ShowMessage(BoxKind::kWarning, text);
  }

 private:
  Notices& console_;
  Desktop* window_;
};

}  // namespace vantry
