// Loads the window's module where it is installed and a display answers.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "desktop/desktop_module.h"

namespace vantry {

// The window, or null. `problem` gets a line for people when a window could be expected and there is none, as the
// module is of another build or can't be loaded, or when it can't be read. A missing module or display is no problem.
// `folders` are looked through in order; the first that has the module counts.
std::unique_ptr<Desktop> LoadDesktop(const std::vector<std::string>& folders, int& argc, char** argv,
                                     std::string& problem);

}  // namespace vantry
