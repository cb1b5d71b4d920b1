// Regular expressions by RE2, which searches in a time that grows with the text alone, whatever the expression: agent
// texts come from anybody.
#pragma once

#include "ports/patterns.h"

namespace vantry {

// A build without RE2 compiles nothing, and Problem says so.
class Re2Patterns final : public Patterns {
 public:
  std::string Problem() const override;
  std::unique_ptr<Pattern> Compile(const std::string& expression) override;
};

}  // namespace vantry
