// Bodies for what this build does not have: each does nothing, and its name says so.
#pragma once

#include "scan/scan_context.h"

namespace vantry {

// No window: nobody looks.
class NoWindow final : public View {
 public:
  void SetStatus(std::string_view) override {}
  void SetDnsStatus(std::string_view) override {}
  void SetMailStatus(std::string_view) override {}
  void ShowSqlError(bool) override {}
  void UpdateStatus() override {}
  void RefreshSiteNode(int16_t) override {}
  void SetSiteImage(int16_t, int16_t) override {}
  void ShowCurrentView() override {}
  void SetTrayTip(std::string_view) override {}
  void SetCaption(std::string_view) override {}
  void Show() override {}
  void Hide() override {}
};

}  // namespace vantry
