// The lists of what the dialogs show, from a program's files. Passwords are hidden.
#pragma once

#include <string>
#include <vector>

#include "core/status.h"
#include "ctl/arguments.h"
#include "ports/files.h"

namespace vantry {

// Lists to standard output what the command names in its folder. A file that could be read in part is listed as far,
// and is the failure.
Status ListOfFolder(Files& files, const std::string& home, CtlCommand command, const std::vector<std::string>& names);

}  // namespace vantry
