// Input: the pattern up to the first line end, then the text.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/wildcard.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using vantry::Like;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t cut = input.find('\n');
  const std::string pattern(input.substr(0, cut));
  const std::string text(cut == std::string_view::npos ? std::string_view() : input.substr(cut + 1));
  vantry::FitsFileMask(text, pattern);
  if (!Like(text, "*")) std::abort();
  if (!Like(text, pattern)) return 0;
  // What fits a pattern also fits with any text after or before it, if the pattern has a star there.
  if (!Like(text + "x", pattern + "*") || !Like("x" + text, "*" + pattern)) std::abort();
  if (!Like(text + "7", pattern + "#")) std::abort();
  return 0;
}
