#pragma once

#include <string>

#include "core/status.h"

namespace vantry {

// Starts programs and opens documents.
class Programs {
 public:
  virtual ~Programs() = default;
  // Adds a variable to the environment of whatever is started from now on.
  virtual void SetEnvironment(const std::string& name, const std::string& value) = 0;
  // Starts an executable file, or opens any other file with the program for its type, and returns at once. A failure
  // to start names the file.
  virtual Status Start(const std::string& path) = 0;
};

}  // namespace vantry
