#include "network/ping_bytes.h"

#include <algorithm>

#include "config/registry_store.h"
#include "core/text.h"

namespace vantry {

int32_t PingBytes(KeyStore& store) {
  constexpr int32_t kStandard = 32, kMost = 8'192;
  const int32_t bytes = LeadingNumber(ReadRegistryValue(store, "Ping", "PacketSize", std::to_string(kStandard)));
  return std::clamp(bytes, 1, kMost);
}

}  // namespace vantry
