// The commands of vantryctl that work on a program's folder and ask no running program.
#pragma once

#include <string>

#include "core/status.h"
#include "ctl/arguments.h"
#include "ports/files.h"

namespace vantry {

// Runs one of them; output goes to standard output.
Status RunFolderCommand(Files& files, const CtlArguments& arguments);

// The data folder of a program's folder, as the program finds it.
Status FindDataFolder(Files& files, const std::string& home, std::string& folder);

}  // namespace vantry
