#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace vantry {

// Variables of the environment by their names.
using Variables = std::map<std::string, std::string>;

// Starts programs and opens documents.
class Programs {
 public:
  virtual ~Programs() = default;
  // Adds a variable to the environment of whatever is started from now on.
  virtual void SetEnvironment(const std::string& name, const std::string& value) = 0;
  // Starts an executable file, or opens any other file with the program for its type, and returns at once. A failure
  // to start names the file.
  virtual Status Start(const std::string& path) = 0;
  // Starts an executable file with these arguments and, beside the variables above, these, and returns at once. The
  // limit below does not hold it back. A failure to start names the file.
  virtual Status Run(const std::string& program, const std::vector<std::string>& arguments,
                     const Variables& variables) = 0;
  // From now on no more than `most` run at once; 0 is any number. Others wait their turn, with the variables of their
  // moment, and Start takes them for started. `tell` hears what becomes of those that can't be started after all.
  virtual void Limit(int32_t most, std::function<void(std::string_view text)> tell) = 0;
};

}  // namespace vantry
