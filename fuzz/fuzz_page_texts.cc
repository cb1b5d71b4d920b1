// Texts of a log, a line of the input each, in all places of all pages, escaped: none becomes an element, an attribute
// or a script.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "core/text.h"
#include "support/page_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  std::vector<std::string> texts;
  for (const std::string_view text : Split(std::string_view(reinterpret_cast<const char*>(data), size), '\n')) {
    texts.emplace_back(text);
  }
  if (!MoreThanText(std::move(texts)).empty()) std::abort();
  return 0;
}
