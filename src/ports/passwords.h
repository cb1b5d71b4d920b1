#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vantry {

// Passwords that are kept as slow hashes.
class Passwords {
 public:
  virtual ~Passwords() = default;
  // Compares on the side, one after another; `told` is called on the loop. False when too many wait: nobody is told
  // then.
  virtual bool Verify(std::string password, std::string hash, std::function<void(bool right)> told) = 0;
  // Nobody who waits is told any more.
  virtual void Forget() = 0;
  // A quick digest with a key of this run, to know a text again without keeping it.
  virtual std::string Digest(std::string_view text) = 0;
};

}  // namespace vantry
