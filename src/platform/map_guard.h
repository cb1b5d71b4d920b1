// Reading a file through a map: when the file is cut short meanwhile, or what it holds leads astray, the system ends
// the program that touches what is not there. Inside a guard it ends the reading alone.
#pragma once

#include <type_traits>

namespace vantry {

// Runs `body`. False when it was broken off; what it had begun stays as it was then, so it must be code without objects
// to destroy, and whatever it worked on is to be given up.
bool RunGuarded(void (*body)(void*), void* with);

template <class Body>
bool Guarded(Body&& body) {
  return RunGuarded([](void* b) { (*static_cast<std::remove_reference_t<Body>*>(b))(); }, &body);
}

// Breaks off the innermost guarded body of this thread; returns when there is none.
void BreakOffGuarded();

}  // namespace vantry
