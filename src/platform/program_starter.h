#pragma once

#include <map>
#include <string>
#include <vector>

#include "ports/programs.h"

namespace vantry {

// Variables of the environment by their names.
using Variables = std::map<std::string, std::string>;

// What is started runs on its own, in a session of its own, in our working folder: nobody waits for it, and the end of
// this program is not its end. Its input is empty, its output and errors go where ours go; it has no other descriptor
// of ours, no signal blocked and none ignored.
class ProgramStarter final : public Programs {
 public:
  // The variables stand before those of our own environment, which stays as it is. Name and value end at a character
  // 0; a name that is empty or holds "=" is none and is ignored.
  void SetEnvironment(const std::string& name, const std::string& value) override;

  // A plain file that may be executed is started without arguments, any other plain file is opened by `xdg-open`. A
  // failure names the file, the reason and what can be done. Programs that can't be executed after all are failures;
  // what a program does once it runs is its own matter.
  Status Start(const std::string& path) override;

 private:
  Variables variables_;
};

struct ProgramCall {
  std::string program;  // Path.
  std::vector<std::string> arguments = {};
  Variables variables = {};
  bool silent = false;  // Its output and errors go nowhere.
};

// Starts a program in the same manner. kNotFound if it does not exist, kIo for any other failure to start.
Status StartProgram(const ProgramCall& call);

// The path of the first executable file of this name in the folders of PATH, which is taken of `variables` first; empty
// if there is none.
std::string FindProgram(const std::string& name, const Variables& variables = {});

// A path as an argument that no program mistakes for an option.
std::string AsArgument(const std::string& path);

}  // namespace vantry
