// The configuration of web servers as it lies on this machine, or below a folder that stands for "/". Reads only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace vantry {

// Paths are full ones as the web server knows them.
class ConfigTree {
 public:
  virtual ~ConfigTree() = default;
  // The content of a plain file. kNotFound if it is not there, kRefused if it has more than `most` bytes.
  virtual Status Read(const std::string& path, size_t most, std::string& bytes) const = 0;
  // The names in a folder, sorted; none if it is not there.
  virtual std::vector<std::string> Names(const std::string& folder) const = 0;
  virtual bool IsFolder(const std::string& path) const = 0;
  // Where the path is on this machine, whether or not something is there.
  virtual std::string PathHere(const std::string& path) const = 0;
};

// The disks of this machine. Links, also those that name a full path, lead nowhere but below `root`.
class DiskTree final : public ConfigTree {
 public:
  explicit DiskTree(std::string root) : root_(std::move(root)) {}
  Status Read(const std::string& path, size_t most, std::string& bytes) const override;
  std::vector<std::string> Names(const std::string& folder) const override;
  bool IsFolder(const std::string& path) const override;
  std::string PathHere(const std::string& path) const override;

 private:
  std::string root_;
};

// "sub/../x" and "./x" without their detours, from `base` on unless the path is a full one. Never leaves "/".
std::string PathFrom(const std::string& base, std::string_view path);

// The folder of a path, without "/" at its end except for "/" itself.
std::string FolderOfPath(const std::string& path);

// The paths that fit a pattern, sorted. Wildcards may stand in every part of it; as in a shell they do not take a dot
// in front. A pattern without wildcards is itself, there or not. At most `most`.
std::vector<std::string> PathsOf(const ConfigTree& tree, const std::string& pattern, size_t most);

}  // namespace vantry
