#pragma once

#include "ports/random.h"

namespace vantry {

// The system's own source.
class SystemRandom final : public Random {
 public:
  Status Draw(size_t count, std::string& bytes) override;
};

}  // namespace vantry
