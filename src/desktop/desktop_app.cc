#include "desktop/desktop_app.h"

#include <QApplication>

#include "desktop/display_probe.h"
#include "desktop/main_window.h"
#include "desktop/message_box.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

class DesktopApp final : public Desktop {
 public:
  DesktopApp(int& argc, char** argv) : application_(argc, argv) {
    QApplication::setApplicationName("vantry");
    QApplication::setApplicationDisplayName("Vantry");
    // Hidden in the tray the program goes on.
    QApplication::setQuitOnLastWindowClosed(false);
  }

  void Load(const WindowParts& parts) override {
    parts.t.HasWindow = true;
    window_ = std::make_unique<MainWindow>(parts, prompts_);
    window_->Load();
  }
  void Unload() override {
    if (window_) window_->Unload();
  }
  void ShowMessage(BoxKind kind, std::string_view text) override {
    if (window_) {
      window_->Messages().Add(kind, ShownLines(text));
    } else {
      prompts_.Tell(nullptr, kind, ShownLines(text));
    }
  }
  void Beep() override { QApplication::beep(); }

  void SetStatus(std::string_view text) override {
    if (window_) window_->SetStatus(ShownText(text));
  }
  void SetDnsStatus(std::string_view text) override {
    if (window_) window_->SetDnsStatus(ShownText(text));
  }
  void SetMailStatus(std::string_view text) override {
    if (window_) window_->SetMailStatus(ShownText(text));
  }
  void UpdateStatus() override {
    if (window_) window_->UpdateStatus();
  }
  void RefreshSiteNode(int16_t site) override {
    if (window_) window_->RefreshSiteNode(site);
  }
  void SetSiteImage(int16_t site, int16_t icon) override {
    if (window_) window_->SetSiteImage(site, icon);
  }
  void ShowCurrentView() override {
    if (window_) window_->ShowCurrentView();
  }
  void SetTrayTip(std::string_view text) override {
    if (window_) window_->SetTrayTip(ShownText(text));
  }
  void SetCaption(std::string_view text) override {
    if (window_) window_->setWindowTitle(ShownText(text));
  }
  void Show() override {
    if (window_) window_->ShowFromTray();
  }
  void Hide() override {
    if (window_) window_->HideInTray();
  }

 private:
  QApplication application_;
  RealPrompts prompts_;
  std::unique_ptr<MainWindow> window_;
};

}  // namespace

std::unique_ptr<Desktop> MakeDesktop(int& argc, char** argv, std::string& problem) {
  if (!DisplayAnswers(problem)) return nullptr;
  return std::make_unique<DesktopApp>(argc, argv);
}

}  // namespace vantry
