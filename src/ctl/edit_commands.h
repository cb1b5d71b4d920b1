// The commands of vantryctl that do what the dialogs do, with the program running or not.
#pragma once

#include <string>
#include <vector>

#include "ctl/arguments.h"
#include "forms/edit_request.h"
#include "ports/files.h"

namespace vantry {

struct EditOperands {
  std::string folder;              // Empty: that of the environment.
  std::vector<std::string> names;  // As many as the command takes.
  std::vector<NamedValue> values;
};

// How many names the command takes after the folder.
size_t NamesOf(CtlCommand command);

// Tells the folder from the names: it is there if one operand more precedes the first KEY=VALUE.
Status ReadEditOperands(CtlCommand command, const std::vector<std::string>& operands, EditOperands& read);

// Runs one of them; output goes to standard output.
Status RunEditCommand(Files& files, const CtlArguments& arguments);

}  // namespace vantry
