// An agent text as a client sends it, against the lists that come with the program, and the bytes of such a list.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/agent_text.h"
#include "platform/posix_files.h"
#include "platform/re2_patterns.h"
#include "scan/agent_names.h"

namespace {

vantry::AgentNames MakeNames() {
  static vantry::Re2Patterns patterns;
  vantry::PosixFiles files;
  vantry::AgentRules rules;
  if (!ReadAgentRules(files, {VANTRY_LISTS}, rules).ok()) std::abort();
  return {patterns, std::move(rules)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  static AgentNames names = MakeNames();
  const AgentName name = names.NameOf(bytes);
  // Browser, version, system, version and device, each cut, and what joins them.
  constexpr size_t kLongest = 200;
  if (name.browser.size() > kLongest || name.spider.size() > kLongest) std::abort();
  for (const size_t width : {size_t{0}, size_t{5}, size_t{15}, size_t{30}}) {
    if (FitBrowser(name.browser, width).size() > width || FitSpider(name.spider, width).size() > width) std::abort();
    if (FitBrowser(bytes, width).size() > width || FitSpider(bytes, width).size() > width) std::abort();
  }
  AgentRules rules;
  const size_t count = ParseAgentRules(bytes, rules);
  if (count != rules.browsers.size() + rules.systems.size() + rules.devices.size() + rules.spiders.size()) std::abort();
  static Re2Patterns patterns;
  AgentNames odd(patterns, std::move(rules));
  if (odd.NameOf("Mozilla/5.0 (X11; Linux x86_64; rv:131.0) Firefox/131.0").browser.size() > kLongest) std::abort();
  return 0;
}
