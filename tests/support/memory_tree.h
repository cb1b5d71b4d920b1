// Configuration files in memory.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "import/config_tree.h"

namespace vantry {

class MemoryTree final : public ConfigTree {
 public:
  std::map<std::string, std::string> files;  // By path.

  Status Read(const std::string& path, size_t most, std::string& bytes) const override {
    const auto it = files.find(path);
    if (it == files.end()) return Status::Error(Fail::kNotFound, path + ": not there");
    if (it->second.size() > most) return Status::Error(Fail::kRefused, path + ": is too large");
    bytes = it->second;
    return Status::Ok();
  }
  std::vector<std::string> Names(const std::string& folder) const override {
    std::vector<std::string> names;
    const std::string front = folder == "/" ? "/" : folder + "/";
    for (auto it = files.lower_bound(front); it != files.end() && it->first.rfind(front, 0) == 0; ++it) {
      const std::string rest = it->first.substr(front.size());
      const std::string name = rest.substr(0, rest.find('/'));
      if (names.empty() || names.back() != name) names.push_back(name);
    }
    return names;
  }
  bool IsFolder(const std::string& path) const override { return !files.contains(path) && !Names(path).empty(); }
  std::string PathHere(const std::string& path) const override { return path; }
};

}  // namespace vantry
