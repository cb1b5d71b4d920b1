// The bytes of VANTRY.INI. What was read of them must be written so that it is read again in full.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "config/site_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const Regional regional;
  LiveTables first, second;
  (void)ParseSites({reinterpret_cast<const char*>(data), size}, regional, first);
  const std::string written = FormatSites(regional, first);
  if (ParseSites(written, regional, second)) std::abort();
  if (second.Sites.size() != first.Sites.size() || second.Alerts.size() != first.Alerts.size()) std::abort();
  // From here on nothing changes any more.
  LiveTables third;
  const std::string again = FormatSites(regional, second);
  if (ParseSites(again, regional, third) || FormatSites(regional, third) != again) std::abort();
  return 0;
}
