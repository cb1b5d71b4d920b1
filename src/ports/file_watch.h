#pragma once

#include <functional>
#include <string>

#include "core/status.h"

namespace vantry {

// Tells of changes in folders as they happen.
class FileWatch {
 public:
  virtual ~FileWatch() = default;
  // What happened to a name of a watched folder. `names_changed`: it came, went or belongs to another file now, not
  // just to more bytes. An empty name stands for any: more has happened than could be told.
  using Change = std::function<void(const std::string& folder, const std::string& name, bool names_changed)>;
  // Set once, before the first Watch. Called only from the loop; the handler may turn the loop and call Watch.
  virtual void OnChange(Change change) = 0;
  // Watches a folder, written with a separator at its end, and tells of it once for what is there already. To be
  // repeated now and then: the path may lead to another folder later. kRefused when the system watches no more,
  // kNotFound when the folder is not there. A folder that goes away is no longer watched.
  virtual Status Watch(const std::string& folder) = 0;
};

}  // namespace vantry
