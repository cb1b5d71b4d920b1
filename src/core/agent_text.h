// The short texts that name a visitor's browser and a spider, and how they are cut for a field of a table.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// "Chrome Mobile 130 on Android 14, Pixel 7"; any part but the first may be missing.
struct BrowserParts {
  std::string browser, system, system_version, device;
};
std::string BrowserText(const BrowserParts& parts);
// "Googlebot (search)".
std::string SpiderText(std::string_view name, std::string_view purpose);

// The longest beginning of such a text that fits a field and says nothing false: without the device, then without the
// system's version, then without the system; cut only when the browser alone is too long.
std::string_view FitBrowser(std::string_view text, size_t width);
// Without the purpose when both do not fit.
std::string_view FitSpider(std::string_view text, size_t width);

}  // namespace vantry
