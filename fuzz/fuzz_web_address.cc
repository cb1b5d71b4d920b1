// The address of a page that is touched, as an operator writes it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/text_encoding.h"
#include "platform/web_address.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  vantry::WebAddress address, again;
  if (const vantry::Status status = vantry::ReadWebAddress(text, address); !status.ok()) {
    Require(!status.text.empty() && status.text.size() < 600 && vantry::IsUtf8(status.text));
    Require(std::none_of(status.text.begin(), status.text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }));
    return 0;
  }
  // One word: nothing in it can begin another line of the request.
  Require(std::none_of(address.url.begin(), address.url.end(), [](unsigned char c) { return c <= ' ' || c == 0x7F; }));
  Require(address.url.starts_with("http://") || address.url.starts_with("https://"));
  Require(!address.place.empty() && address.place.find('@') == std::string::npos);
  Require(address.url.find(address.place) != std::string::npos);
  if (address.url.size() <= 8'000) {
    Require(vantry::ReadWebAddress(address.url, again).ok());
    Require(again.url == address.url && again.place == address.place);
  }
  return 0;
}
