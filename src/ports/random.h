#pragma once

#include <cstddef>
#include <string>

#include "core/status.h"

namespace vantry {

// Bytes that nobody can guess.
class Random {
 public:
  virtual ~Random() = default;
  // Replaces `bytes` by this many, 256 at most.
  virtual Status Draw(size_t count, std::string& bytes) = 0;
};

}  // namespace vantry
