// Whether a display is there. Qt ends the program when there is none, so it is not asked before this was.
#pragma once

#include <string>

namespace vantry {

// Whether the window system that Qt is going to use answers; `problem` says why not.
bool DisplayAnswers(std::string& problem);

}  // namespace vantry
