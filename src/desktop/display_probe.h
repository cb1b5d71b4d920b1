// Whether a display is there. Qt ends the program when there is none, so it is not asked before this was.
#pragma once

#include <string>

namespace vantry {

class DisplayProbe {
 public:
  DisplayProbe() = default;
  ~DisplayProbe();
  DisplayProbe(const DisplayProbe&) = delete;
  DisplayProbe& operator=(const DisplayProbe&) = delete;

  // Whether the window system that Qt is going to use answers; `problem` says why not. The connection stays open as
  // long as this object: some servers start over when their last client leaves, and refuse the next one meanwhile.
  bool Answers(std::string& problem);

 private:
  bool XAnswers();
  void* connection_ = nullptr;
};

}  // namespace vantry
