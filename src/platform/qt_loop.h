#pragma once

#include "ports/loop.h"

namespace vantry {

// Qt's event loop. A QCoreApplication must exist.
class QtLoop final : public Loop {
 public:
  std::unique_ptr<Timer> NewTimer(int64_t period_ms, std::function<void()> tick) override;
  void Turn() override;
  void Quit() override;
};

}  // namespace vantry
