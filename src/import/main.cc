// Finds the sites of this machine's web servers and adds them to a program's folder: see import_run.h.
#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "core/text.h"
#include "import/import_run.h"
#include "platform/posix_files.h"
#include "setup/terminal.h"

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  vantry::PosixFiles files;
  const std::string version = std::to_string(VANTRY_VERSION_MAJOR) + "." + std::to_string(VANTRY_VERSION_MINOR) + "." +
                              vantry::PadNumber(VANTRY_VERSION_REVISION, 3);
  return vantry::RunImport(
      {files, std::cin, std::cout, std::cerr, vantry::InputIsTerminal(), vantry::ReadScreen().width, version}, words);
}
