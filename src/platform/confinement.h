// AppArmor, where it confines this process: it refuses what the rights of files allow.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// The profile that is enforced according to this text, which is like "vantry (enforce)" in /proc/self/attr/current;
// empty if none is.
std::string EnforcedProfile(std::string_view text);
// That of this process.
std::string OwnProfile();

}  // namespace vantry
