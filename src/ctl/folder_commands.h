// The commands of vantryctl that work on a program's folder and ask no running program.
#pragma once

#include "ctl/arguments.h"
#include "ports/files.h"

namespace vantry {

// Runs one of them; output goes to standard output.
Status RunFolderCommand(Files& files, const CtlArguments& arguments);

}  // namespace vantry
