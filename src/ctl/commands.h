// What each command of vantryctl does.
#pragma once

#include "ctl/arguments.h"
#include "ports/files.h"

namespace vantry {

// Runs a parsed command and returns the exit code: 0 when all went well, 1 otherwise. Output goes to standard output,
// failures to standard error.
int RunCommand(Files& files, const CtlArguments& arguments);

// The port that $VANTRY_HOME/SETTINGS.INI names, or 8004 without that file. `home` may be null. kBadData when the file
// names no port that could be.
Status DefaultPort(Files& files, const char* home, int& port);

}  // namespace vantry
