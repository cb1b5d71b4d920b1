// `vantryctl history`: what the history's tables hold, read from outside the program.
#pragma once

#include "core/status.h"
#include "ctl/arguments.h"
#include "ports/files.h"

namespace vantry {

Status HistoryCommand(Files& files, const CtlArguments& arguments);

}  // namespace vantry
