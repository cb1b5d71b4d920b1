// The sites in IIS's applicationHost.config.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "import/iis.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (const auto& [number, domain] : vantry::IisDomains({reinterpret_cast<const char*>(data), size})) {
    if (number.empty() || domain.empty()) std::abort();
  }
  return 0;
}
