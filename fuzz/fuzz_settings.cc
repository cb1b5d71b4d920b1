// The bytes of SETTINGS.INI, and the same bytes as the two text files read along with it.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "config/settings_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Settings settings;
  (void)ParseSettings(bytes, settings);
  const std::string written = FormatSettings(settings);
  Settings again;
  again.DNSMask = {};  // A place that was emptied is not written, so its default would come back.
  if (ParseSettings(written, again) || FormatSettings(again) != written) std::abort();

  ParseSearchEngines(bytes, settings);
  if (settings.SearchEngines.size() > Settings::kMaxEngines) std::abort();
  std::vector<CountryEntry> countries;
  ParseCountries(bytes, countries);
  for (const CountryEntry& country : countries) {
    if (country.Code.size() != 2) std::abort();
  }
  return 0;
}
