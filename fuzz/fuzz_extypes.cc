// The bytes of EXTYPES.INI.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "config/exception_types.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  std::vector<ExceptionType> types, again;
  (void)ReadExTypes({reinterpret_cast<const char*>(data), size}, types);
  LiveTables tables;
  tables.Sites.resize(1);
  (void)RefreshexceptionConstants(types, tables);
  const std::string written = FormatExTypes(types);
  if (ReadExTypes(written, again) || FormatExTypes(again) != written) std::abort();
  return 0;
}
