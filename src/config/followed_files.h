// The files that the correction FollowRotation knows of, as lines of the site file.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/tables.h"

namespace vantry {

// Key and value of each line; none while no file is known.
std::vector<std::pair<std::string, std::string>> FollowedLines(const ReadState& state);

// Takes one line, by its upper-case key. A value that can't be read leaves its file unknown.
void ReadFollowed(std::string_view key, std::string_view value, ReadState& state);

void ForgetFollowed(ReadState& state);

}  // namespace vantry
