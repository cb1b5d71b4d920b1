// The words after the program's name. They control nothing: to the program itself it only matters whether there are
// any.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vantry {

struct CommandLine {
  bool window = true;            // Where a display answers.
  std::string text;              // All words, trimmed and upper-cased.
  std::optional<int> exit_code;  // Set when the program is not to run: `answer` is all there is to say.
  std::string answer;            // For standard output when the exit code is 0, else for standard error.
};

// "--help" and "--version" are answered, "--no-window" is taken, any other word that begins with "-" is refused, and
// every other word is text.
CommandLine ReadCommandLine(const std::vector<std::string>& words, const std::string& version);

}  // namespace vantry
