#pragma once

#include <string>

#include "core/status.h"

namespace vantry {

// The lock that keeps a second program from running on the same folder. Held until the object goes, or the process.
class SingleInstance {
 public:
  explicit SingleInstance(std::string path) : path_(std::move(path)) {}
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // kRefused if another process has it for half a second.
  Status Acquire();

 private:
  std::string path_;
  int fd_ = -1;
};

}  // namespace vantry
