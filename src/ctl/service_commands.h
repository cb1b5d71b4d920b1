// The commands of vantryctl on the machine's service manager.
#pragma once

#include "core/status.h"
#include "ctl/arguments.h"
#include "ports/files.h"

namespace vantry {

Status InstallServiceCommand(Files& files, const CtlArguments& arguments);
Status RemoveServiceCommand(const CtlArguments& arguments);

}  // namespace vantry
