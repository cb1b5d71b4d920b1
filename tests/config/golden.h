// The golden files of this folder.
#pragma once

#include <string>

#include "support/golden.h"

namespace vantry {

inline std::string Golden(const std::string& name) {
  return ReadGoldenFile("config/" + name);
}

inline void CheckGolden(const std::string& name, const std::string& got) {
  CheckGoldenFile("config/" + name, got);
}

}  // namespace vantry
