#pragma once

#include <cstdint>

#include "ports/key_store.h"

namespace vantry {

// How many bytes a ping carries, from the section "Ping" of the registry store.
int32_t PingBytes(KeyStore& store);

}  // namespace vantry
