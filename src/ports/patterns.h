#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vantry {

// A compiled regular expression.
class Pattern {
 public:
  virtual ~Pattern() = default;
  // Whether it occurs anywhere in the text, which may be any bytes; takes a time that grows with the text's length
  // alone. `groups` gets what its groups found, from the first on; one that took no part is empty.
  virtual bool Find(std::string_view text, std::span<std::string_view> groups) const = 0;
};

// Compiles regular expressions.
class Patterns {
 public:
  virtual ~Patterns() = default;
  // Why nothing can be compiled; empty when expressions can be.
  virtual std::string Problem() const = 0;
  // Null when the text is not an expression that can be compiled.
  virtual std::unique_ptr<Pattern> Compile(const std::string& expression) = 0;
};

}  // namespace vantry
