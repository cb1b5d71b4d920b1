// Where output goes and input comes from.
#pragma once

namespace vantry {

struct Screen {
  bool is_terminal = false;
  int width = 0, height = 0;  // 0 when it is no terminal.
};

// Standard output as it is now. A terminal that does not tell its size is taken for 80 by 24.
Screen ReadScreen();

// Whether somebody can be asked at standard input.
bool InputIsTerminal();

}  // namespace vantry
