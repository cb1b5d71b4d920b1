// The command that sets who may see the live page.
#pragma once

#include "core/status.h"
#include "ctl/arguments.h"
#include "ports/files.h"

namespace vantry {

Status LivePasswordCommand(Files& files, const CtlArguments& arguments);

}  // namespace vantry
