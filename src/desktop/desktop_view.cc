#include "desktop/desktop_view.h"

#include <QApplication>

#include "desktop/shown_text.h"

namespace vantry {

void DesktopView::Load(const WindowParts& parts) {
  parts.t.HasWindow = true;
  window_ = std::make_unique<MainWindow>(parts, prompts_);
  window_->Load();
}

void DesktopView::Unload() {
  if (window_) window_->Unload();
}

void DesktopView::DisplayIsGone() {
  gone_ = true;
  (void)window_.release();  // Its parts are half gone.
}

void DesktopView::ShowMessage(BoxKind kind, std::string_view text) {
  if (window_) {
    window_->Messages().Add(kind, ShownLines(text));
  } else if (!gone_) {
    prompts_.Tell(nullptr, kind, ShownLines(text));
  }
}

void DesktopView::Beep() {
  if (!gone_) QApplication::beep();
}

void DesktopView::SetStatus(std::string_view text) {
  if (window_) window_->SetStatus(ShownText(text));
}

void DesktopView::SetDnsStatus(std::string_view text) {
  if (window_) window_->SetDnsStatus(ShownText(text));
}

void DesktopView::SetMailStatus(std::string_view text) {
  if (window_) window_->SetMailStatus(ShownText(text));
}

void DesktopView::ShowSqlError(bool shown) {
  if (window_) window_->ShowSqlError(shown);
}

void DesktopView::UpdateStatus() {
  if (window_) window_->UpdateStatus();
}

void DesktopView::RefreshSiteNode(int16_t site) {
  if (window_) window_->RefreshSiteNode(site);
}

void DesktopView::SetSiteImage(int16_t site, int16_t icon) {
  if (window_) window_->SetSiteImage(site, icon);
}

void DesktopView::ShowCurrentView() {
  if (window_) window_->ShowCurrentView();
}

void DesktopView::SetTrayTip(std::string_view text) {
  if (window_) window_->SetTrayTip(ShownText(text));
}

void DesktopView::SetCaption(std::string_view text) {
  if (window_) window_->setWindowTitle(ShownText(text));
}

void DesktopView::Show() {
  if (window_) window_->ShowFromTray();
}

void DesktopView::Hide() {
  if (window_) window_->HideInTray();
}

}  // namespace vantry
