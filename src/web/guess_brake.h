// Slows down whoever guesses names and passwords: after ten wrong tries of one address, or for one name, the answers
// wait. Nobody is locked out: the right password from an address that has not guessed is answered at once.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "core/date_time.h"

namespace vantry {

class GuessBrake {
 public:
  static constexpr int kFreeTries = 10;
  static constexpr int kMostCounted = kFreeTries + 5;  // From here on each answer waits for the longest time.
  static constexpr int64_t kLongestWaitMs = 30'000;
  static constexpr int64_t kFadeMs = 60'000;  // A counter loses one try after each such time without a wrong one.
  static constexpr size_t kMostKept = 4096;   // Addresses, and as many names.
  static constexpr size_t kMaxKey = 64;       // Longer names count by their beginning.

  // Counts one try and returns how long its answer waits. A right one waits for its address alone.
  int64_t Try(std::string_view address, std::string_view name, bool right, SteadyTime now);
  size_t Kept() const { return addresses_.size() + names_.size(); }

 private:
  struct Counter {
    int wrong = 0;
    int64_t since_ms = 0;  // The last wrong one, or the last fading.
  };
  using Counters = std::map<std::string, Counter, std::less<>>;

  static int Faded(Counter counter, int64_t now_ms);
  static int64_t WaitMs(const Counters& counters, const std::string& key, int64_t now_ms);
  static void Count(Counters& counters, const std::string& key, int64_t now_ms);
  static void MakeRoom(Counters& counters, int64_t now_ms);

  Counters addresses_, names_;
};

// What counts as one address: all of it for IPv4, the first 64 bits for IPv6, of which one person has all the rest.
std::string GuesserOf(std::string_view address);

}  // namespace vantry
