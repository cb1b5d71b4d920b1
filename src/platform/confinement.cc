#include "platform/confinement.h"

#include <fstream>

namespace vantry {

std::string EnforcedProfile(std::string_view text) {
  constexpr std::string_view kEnforced = " (enforce)";
  const size_t end = text.find(kEnforced);
  return std::string(text.substr(0, end == std::string_view::npos ? 0 : end));
}

std::string OwnProfile() {
  std::string text;
  std::ifstream file("/proc/self/attr/current");
  std::getline(file, text);
  return EnforcedProfile(text);
}

}  // namespace vantry
