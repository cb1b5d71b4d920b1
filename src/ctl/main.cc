#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "ctl/arguments.h"
#include "ctl/commands.h"
#include "platform/posix_files.h"

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  vantry::CtlArguments arguments;
  const vantry::Status status = vantry::ParseArguments(words, arguments);
  if (!status.ok()) {
    std::cerr << "vantryctl: " << status.text << "\n\n" << vantry::HelpText(arguments.command);
    return 2;
  }
  if (arguments.help) {
    std::cout << vantry::HelpText(arguments.command);
    return 0;
  }
  vantry::PosixFiles files;
  return vantry::RunCommand(files, arguments);
}
