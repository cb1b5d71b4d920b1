#include "setup/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace vantry {

Screen ReadScreen() {
  if (::isatty(STDOUT_FILENO) == 0) return {};
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
  return known ? Screen{true, size.ws_col, size.ws_row} : Screen{true, 80, 24};
}

bool InputIsTerminal() {
  return ::isatty(STDIN_FILENO) != 0;
}

}  // namespace vantry
