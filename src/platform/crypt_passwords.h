#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "core/status.h"
#include "platform/workers.h"
#include "ports/passwords.h"
#include "ports/random.h"

namespace vantry {

// A hash of the system's own kind for passwords (yescrypt), with a fresh salt.
Status HashPassword(const std::string& password, std::string& hash);
// Takes some tens of milliseconds, whatever comes of it.
bool FitsHash(const std::string& password, const std::string& hash);

// Compares in a thread of its own. A QCoreApplication must exist.
class CryptPasswords final : public Passwords {
 public:
  static constexpr size_t kMostWaiting = 50;

  explicit CryptPasswords(Random& random);

  bool Verify(std::string password, std::string hash, std::function<void(bool right)> told) override;
  void Forget() override;
  std::string Digest(std::string_view text) override;

 private:
  Random& random_;
  std::string key_;
  std::set<uint64_t> under_way_;
  Workers workers_{1};
};

}  // namespace vantry
