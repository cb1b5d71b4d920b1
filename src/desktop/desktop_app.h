// The application object of the window system, with all that the program shows in it.
#pragma once

#include <memory>
#include <string>

#include "desktop/desktop_module.h"

namespace vantry {

// Null when no display answers; `problem` says why.
std::unique_ptr<Desktop> MakeDesktop(int& argc, char** argv, std::string& problem);

}  // namespace vantry
