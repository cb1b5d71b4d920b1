// What a caller of the live listener sends beside the head that its library reads: address, parameters, a login.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "live/live_logins.h"
#include "live/page_files.h"
#include "live/route.h"

namespace vantry {
namespace {

std::string Escaped(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string escaped;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    escaped.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
  }
  return escaped;
}

void CheckQuery(std::string_view text) {
  const auto query = ParseQuery(text);
  if (!query) return;
  if (query->size() > kMostParameters) std::abort();
  std::string again;
  for (const auto& [name, value] : *query) again += Escaped(name) + "=" + Escaped(value) + "&";
  if (ParseQuery(again) != query) std::abort();
}

}  // namespace
}  // namespace vantry

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckQuery(text);
  if (const auto path = DecodePercent(text, false)) {
    if (DecodePercent(Escaped(*path), false) != path) std::abort();
    std::string rest;
    if (const Route* route = FindRoute(*path, rest); route && !path->ends_with(rest)) std::abort();
  }
  if (const auto given = ReadBasic(text); given && given->user.find(':') != std::string::npos) std::abort();
  (void)AcceptsGzip(text);
  LiveRequest request;
  request.if_none_match = text;
  (void)ServePageFile(text, request);
  return 0;
}
