// Where output goes and input comes from.
#pragma once

#include <string>

namespace vantry {

struct Screen {
  bool is_terminal = false;
  int width = 0, height = 0;  // 0 when it is no terminal.
};

// Standard output as it is now. A terminal that does not tell its size is taken for 80 by 24.
Screen ReadScreen();

// Whether somebody can be asked at standard input.
bool InputIsTerminal();

// A line typed at standard input without being shown, after this question on standard error. False when it was broken
// off.
bool ReadHidden(const std::string& question, std::string& line);

}  // namespace vantry
