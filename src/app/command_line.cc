#include "app/command_line.h"

#include "core/text.h"

namespace vantry {
namespace {

constexpr char kHelp[] =
    "Usage: vantry\n"
    "\n"
    "Watches the logs of web servers and answers browsers on a port, until SIGTERM or Ctrl-C.\n"
    "\n"
    "  VANTRY_HOME    the folder with VANTRY.INI, SETTINGS.INI and all other files (the program's own folder)\n"
    "\n"
    "  --no-window    no window, even where there is a display\n"
    "  --help         this help\n"
    "  --version      the version\n"
    "\n"
    "Sites are added with `vantryctl add-site`; see `vantryctl --help` for that and for steering a running program.\n";

}  // namespace

CommandLine ReadCommandLine(const std::vector<std::string>& words, const std::string& version) {
  CommandLine line;
  for (const std::string& word : words) {
    if (word == "--help" || word == "-h") return {.text = {}, .exit_code = 0, .answer = kHelp};
    if (word == "--version") return {.text = {}, .exit_code = 0, .answer = "Vantry " + version + "\n"};
    if (word == "--no-window") {
      line.window = false;
      continue;
    }
    if (word.size() > 1 && word[0] == '-') {
      return {.text = {}, .exit_code = 2, .answer = "vantry: there is no option '" + word + "'.\n\n" + kHelp};
    }
    line.text += (line.text.empty() ? "" : " ") + word;
  }
  line.text = Upper(Trim(line.text));
  return line;
}

}  // namespace vantry
