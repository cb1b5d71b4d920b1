// Reads a server's configuration with all that it includes, within bounds: a configuration that includes itself, or
// ever more, ends with a problem instead.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "import/config_tree.h"

namespace vantry {

// A place in the configuration, for messages.
struct ConfigPlace {
  std::string file = {};
  int line = 0;
  std::string Text() const { return file + ":" + std::to_string(line); }
};

class ConfigReader {
 public:
  static constexpr size_t kMostDepth = 16;
  static constexpr size_t kMostFiles = 10'000;
  static constexpr size_t kMostFileBytes = 4 * 1024 * 1024;
  static constexpr size_t kMostBytes = 64 * 1024 * 1024;

  ConfigReader(const ConfigTree& tree, std::vector<std::string>& problems) : tree_(tree), problems_(problems) {}

  using ReadFile = std::function<void(const std::string& path, const std::string& bytes)>;
  // Hands each file that fits the pattern, a full path, to `read`, which may include more. A missing file is a
  // problem of `from` unless the pattern has wildcards or it is `optional`.
  void Include(const ConfigPlace& from, const std::string& pattern, bool optional, const ReadFile& read);
  // The same for the file that begins it all. Returns whether it is there.
  bool Begin(const std::string& path, const ReadFile& read);

  void Problem(const ConfigPlace& at, const std::string& text);
  const ConfigTree& Tree() const { return tree_; }

 private:
  void ReadOne(const ConfigPlace& from, const std::string& path, bool optional, const ReadFile& read);

  const ConfigTree& tree_;
  std::vector<std::string>& problems_;
  std::vector<std::string> open_;  // The files that are being read, each included by the one before.
  size_t files_ = 0, bytes_ = 0;
  bool full_ = false;
};

}  // namespace vantry
