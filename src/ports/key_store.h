#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/status.h"

namespace vantry {

// A keyed store of sections, names and text values that lives outside the configuration files.
class KeyStore {
 public:
  virtual ~KeyStore() = default;
  virtual std::optional<std::string> Get(const std::string& section, const std::string& name) = 0;
  virtual Status Set(const std::string& section, const std::string& name, const std::string& value) = 0;
  virtual Status DeleteValue(const std::string& section, const std::string& name) = 0;
  virtual bool SectionExists(const std::string& section) = 0;
  virtual Status CreateSection(const std::string& section) = 0;
  virtual Status DeleteSection(const std::string& section) = 0;
  virtual std::vector<std::string> Names(const std::string& section) = 0;
  // Sections directly below this one: "A\B" is below "A". The empty section is the root.
  virtual std::vector<std::string> Sections(const std::string& section) = 0;
};

}  // namespace vantry
