#include "web/guess_brake.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kGroups = 8, kNetworkGroups = 4;

std::vector<std::string_view> GroupsOf(std::string_view text) {
  if (text.empty()) return {};
  auto groups = Split(text, ':');
  // An address of IPv4 at the end stands for two groups.
  if (Contains(groups.back(), ".")) groups.push_back(groups.back());
  return groups;
}

}  // namespace

int64_t GuessBrake::Try(std::string_view address, std::string_view name, bool right, SteadyTime now) {
  const std::string guesser = GuesserOf(address).substr(0, kMaxKey), who(name.substr(0, kMaxKey));
  const int64_t address_ms = WaitMs(addresses_, guesser, now.ms);
  if (right) return address_ms;
  const int64_t name_ms = WaitMs(names_, who, now.ms);
  Count(addresses_, guesser, now.ms);
  Count(names_, who, now.ms);
  return std::max(address_ms, name_ms);
}

int GuessBrake::Faded(Counter counter, int64_t now_ms) {
  const int64_t faded = (now_ms - counter.since_ms) / kFadeMs;
  return faded >= counter.wrong ? 0 : counter.wrong - static_cast<int>(faded);
}

int64_t GuessBrake::WaitMs(const Counters& counters, const std::string& key, int64_t now_ms) {
  const auto found = counters.find(key);
  const int beyond = found == counters.end() ? -1 : Faded(found->second, now_ms) - kFreeTries;
  return beyond < 0 ? 0 : std::min(kLongestWaitMs, int64_t{1'000} << beyond);
}

void GuessBrake::Count(Counters& counters, const std::string& key, int64_t now_ms) {
  if (!counters.contains(key) && counters.size() >= kMostKept) MakeRoom(counters, now_ms);
  Counter& counter = counters[key];
  counter = {std::min(Faded(counter, now_ms) + 1, kMostCounted), now_ms};
}

// The quarter with the fewest wrong tries goes, so a crowd of new ones can't push out somebody who has guessed for
// long.
void GuessBrake::MakeRoom(Counters& counters, int64_t now_ms) {
  struct Kept {
    int wrong;
    int64_t since_ms;
    Counters::iterator place;
  };
  std::vector<Kept> kept;
  kept.reserve(counters.size());
  for (auto it = counters.begin(); it != counters.end(); ++it) {
    kept.push_back({Faded(it->second, now_ms), it->second.since_ms, it});
  }
  const auto leaving = kept.begin() + static_cast<std::ptrdiff_t>(kept.size() / 4);
  std::nth_element(kept.begin(), leaving, kept.end(), [](const Kept& a, const Kept& b) {
    return std::pair(a.wrong, a.since_ms) < std::pair(b.wrong, b.since_ms);
  });
  for (auto it = kept.begin(); it != leaving; ++it) counters.erase(it->place);
}

std::string GuesserOf(std::string_view address) {
  if (!Contains(address, ":")) return std::string(address);
  const size_t gap = address.find("::");
  auto groups = GroupsOf(address.substr(0, gap));
  if (gap != std::string_view::npos) {
    const auto behind = GroupsOf(address.substr(gap + 2));
    const size_t known = groups.size() + behind.size();
    groups.insert(groups.end(), known < kGroups ? kGroups - known : 0, "0");
    groups.insert(groups.end(), behind.begin(), behind.end());
  }
  std::string network;
  for (size_t i = 0; i < std::min(kNetworkGroups, groups.size()); ++i) network.append(groups[i]).append(":");
  return network;
}

}  // namespace vantry
