// Whether the files that an operator edits are still as they were when they were last read or written.
#pragma once

#include <map>
#include <string>

#include "ports/files.h"

namespace vantry {

class EditWatch {
 public:
  explicit EditWatch(Files& files) : files_(files) {}

  // To be called before a file is read: what changes later is an edit.
  void Remember(const std::string& path);
  // To be called after these bytes were written. What stands there instead by now is an edit.
  void RememberWritten(const std::string& path, std::string_view bytes);
  // Whether the file is there and not as it was remembered. Unless it is wanted `at_once`, it must have been found the
  // same at the call before: somebody may be writing it. A file that is gone is no edit: there is nothing to read, and
  // some editors take it away for a moment.
  bool Edited(const std::string& path, bool at_once);

 private:
  Files& files_;
  std::map<std::string, FileIdentity> known_;  // A file without an entry was not there.
  std::map<std::string, FileIdentity> seen_;   // At the last look, when it was not as it is known.
};

}  // namespace vantry
