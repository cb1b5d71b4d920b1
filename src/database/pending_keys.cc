#include "database/pending_keys.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace vantry {
namespace {

// The first eight bytes, highest first; shorter texts end in zeros.
uint64_t NumberOf(std::string_view bytes) {
  uint64_t number = 0;
  for (size_t i = 0; i < sizeof number; ++i) {
    number = number << 8 | (i < bytes.size() ? static_cast<uint8_t>(bytes[i]) : 0);
  }
  return number;
}

std::string_view RunOf(std::string_view key) {
  return key.substr(0, key.size() - KnownEnds::kCountedBytes);
}

uint64_t CountOf(std::string_view key) {
  return NumberOf(key.substr(key.size() - KnownEnds::kCountedBytes));
}

}  // namespace

// The first bytes of each key are copied and settle most comparisons without a look at the key. Keys that begin alike,
// like those of one visitor's pages, are first put in order of arrival, which is usually their order.
std::vector<uint32_t> PendingKeys::Sorted() const {
  struct Item {
    uint64_t first, second;
    uint32_t place;
    bool SameBeginning(const Item& other) const { return first == other.first && second == other.second; }
  };
  std::vector<Item> items(Count());
  for (uint32_t i = 0; i < items.size(); ++i) {
    const std::string_view key = KeyAt(i);
    items[i] = {NumberOf(key), NumberOf(key.substr(std::min<size_t>(key.size(), 8))), i};
  }
  std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
    return std::tie(a.first, a.second, a.place) < std::tie(b.first, b.second, b.place);
  });
  const auto by_key = [this](const Item& a, const Item& b) { return KeyAt(a.place) < KeyAt(b.place); };
  for (auto from = items.begin(); from != items.end();) {
    const auto to = std::find_if(from, items.end(), [&](const Item& item) { return !item.SameBeginning(*from); });
    if (!std::is_sorted(from, to, by_key)) std::sort(from, to, by_key);
    from = to;
  }
  std::vector<uint32_t> order(items.size());
  std::transform(items.begin(), items.end(), order.begin(), [](const Item& item) { return item.place; });
  return order;
}

void PendingKeys::Set(std::string_view key, Change change) {
  const size_t place = FixedKeyMap::Set(key, change);
  erases_ = erases_ || change.erase;
  if (groups_.KeyBytes() > 0) NoteGroup(static_cast<uint32_t>(place));
}

void PendingKeys::Clear() {
  FixedKeyMap::Clear();
  groups_.Clear();
  others_.clear();
  erases_ = false;
}

bool PendingKeys::GroupBy(size_t bytes) {
  if (erases_ || bytes == 0 || bytes > KeyBytes()) return false;
  if (groups_.KeyBytes() != bytes) {
    groups_ = FixedKeyMap<uint32_t>(bytes);
    others_.clear();
    for (uint32_t i = 0; i < Count(); ++i) NoteGroup(i);
  }
  return true;
}

void PendingKeys::NoteGroup(uint32_t place) {
  if (place < others_.size()) return;
  const std::string_view key = KeyAt(place), beginning = key.substr(0, groups_.KeyBytes());
  const uint32_t first = groups_.Find(beginning).value_or(kNone);
  if (first == kNone || key < KeyAt(first)) {
    others_.push_back(first);
    groups_.Set(beginning, place);
  } else {
    others_.push_back(std::exchange(others_[first], place));
  }
}

std::optional<size_t> PendingKeys::FirstOfGroup(std::string_view beginning, std::string_view after) const {
  uint32_t found = groups_.Find(beginning).value_or(kNone);
  if (!after.empty()) {
    uint32_t next = kNone;
    for (uint32_t i = found; i != kNone; i = others_[i]) {
      if (KeyAt(i) > after && (next == kNone || KeyAt(i) < KeyAt(next))) next = i;
    }
    found = next;
  }
  return found == kNone ? std::nullopt : std::optional<size_t>(found);
}

bool KnownEnds::Absent(std::string_view key) const {
  if (key.size() <= kCountedBytes) return false;
  const std::optional<uint64_t> absent = first_absent_.Find(RunOf(key));
  return absent && CountOf(key) >= *absent;
}

void KnownEnds::Learn(std::string_view key) {
  if (unknown_added_ || unknown_taken_ || key.size() <= kCountedBytes || first_absent_.Count() >= max_runs_) return;
  // Of a run that is known more is known than the index has: keys that were added may wait.
  if (!first_absent_.Find(RunOf(key))) first_absent_.Set(RunOf(key), CountOf(key));
}

void KnownEnds::Added(std::string_view key) {
  any_added_ = true;
  std::optional<uint64_t> absent;
  if (key.size() > kCountedBytes) absent = first_absent_.Find(RunOf(key));
  const uint64_t count = absent ? CountOf(key) : 0;
  if (!absent || count == UINT64_MAX) {
    // The highest number there is has no successor to remember.
    if (absent) {
      first_absent_.Clear();
      unknown_taken_ = true;  // The runs of keys on their way are unknown now.
    }
    unknown_added_ = true;
  } else if (count >= *absent) {
    first_absent_.Set(RunOf(key), count + 1);
  }
}

void KnownEnds::Taken() {
  unknown_taken_ = unknown_taken_ || unknown_added_;
  unknown_added_ = any_added_ = false;
}

void KnownEnds::Applied() {
  unknown_taken_ = false;
  if (first_absent_.Count() < max_runs_) return;
  first_absent_.Clear();
  unknown_added_ = any_added_;
}

void KnownEnds::Clear() {
  first_absent_.Clear();
  unknown_added_ = unknown_taken_ = any_added_ = false;
}

}  // namespace vantry
