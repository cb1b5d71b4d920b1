#include "setup/terminal.h"

#include <iostream>

#include <sys/ioctl.h>
#include <termios.h>
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

bool ReadHidden(const std::string& question, std::string& line) {
  termios before{};
  if (::tcgetattr(STDIN_FILENO, &before) != 0) return false;
  constexpr cc_t kCtrlC = 3;
  termios hidden = before;
  // Ctrl-C ends the line like Return, so that nobody is left with a terminal that shows nothing.
  hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
  hidden.c_cc[VEOL] = kCtrlC;
  ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  std::cerr << question << std::flush;
  line.clear();
  char c = 0;
  bool ended = false;
  while (!ended && ::read(STDIN_FILENO, &c, 1) == 1) {
    ended = c == '\n' || c == kCtrlC;
    if (!ended) line += c;
  }
  ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
  std::cerr << "\n";
  return ended && c == '\n';
}

}  // namespace vantry
