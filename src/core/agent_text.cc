#include "core/agent_text.h"

namespace vantry {
namespace {

constexpr std::string_view kOn = " on ", kDevice = ", ", kPurpose = " (";

}  // namespace

std::string BrowserText(const BrowserParts& parts) {
  std::string text = parts.browser;
  if (!parts.system.empty()) {
    text.append(kOn).append(parts.system);
    if (!parts.system_version.empty()) text.append(" ").append(parts.system_version);
  }
  if (!parts.device.empty()) text.append(kDevice).append(parts.device);
  return text;
}

std::string SpiderText(std::string_view name, std::string_view purpose) {
  return std::string(name) + (purpose.empty() ? "" : std::string(kPurpose) + std::string(purpose) + ")");
}

std::string_view FitBrowser(std::string_view text, size_t width) {
  if (text.size() <= width) return text;
  const size_t on = text.find(kOn);
  if (const size_t device = text.find(kDevice, on == std::string_view::npos ? 0 : on);
      device != std::string_view::npos) {
    text = text.substr(0, device);
    if (text.size() <= width) return text;
  }
  if (on != std::string_view::npos) {
    const size_t version = text.rfind(' ');
    if (version > on + kOn.size() && version <= width) return text.substr(0, version);
    text = text.substr(0, on);
  }
  return text.substr(0, width);
}

std::string_view FitSpider(std::string_view text, size_t width) {
  if (text.size() > width) text = text.substr(0, text.rfind(kPurpose));
  return text.substr(0, width);
}

}  // namespace vantry
