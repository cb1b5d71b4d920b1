// The text of a "#FIELDS:" line.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "logs/formats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view fields(reinterpret_cast<const char*>(data), size);
  // No more fields than separators allow.
  const auto most = std::count_if(fields.begin(), fields.end(), [](char c) { return c == ' ' || c == '\t'; });
  for (const LogFormat& format : Formats()) {
    const FieldLayout layout = FieldMap(format.header, fields);
    for (const int16_t ordinal : layout.ordinal) {
      if (ordinal < -1 || ordinal > most) std::abort();
    }
  }
  return 0;
}
