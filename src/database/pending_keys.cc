#include "database/pending_keys.h"

#include <algorithm>

#include "core/pointer_index.h"

namespace vantry {
namespace {

uint32_t HashOf(std::string_view key) {
  return static_cast<uint32_t>(SpreadHash(key) >> 32);
}

std::string_view RunOf(std::string_view key) {
  return key.substr(0, key.size() - KnownEnds::kCountedBytes);
}

uint32_t CountOf(std::string_view key) {
  uint32_t count = 0;
  for (const char c : key.substr(key.size() - KnownEnds::kCountedBytes)) count = count << 8 | static_cast<uint8_t>(c);
  return count;
}

}  // namespace

// The slot of the key, or the unused one where it belongs.
size_t PendingKeys::SlotOf(std::string_view key, uint32_t hash) const {
  const size_t mask = slots_.size() - 1;
  size_t i = hash & mask;
  while (slots_[i].place != 0 && (slots_[i].hash != hash || KeyAt(slots_[i].place - 1) != key)) i = (i + 1) & mask;
  return i;
}

void PendingKeys::Set(std::string_view key, Change change) {
  if (last_ != 0 && KeyAt(last_ - 1) == key) {
    SetChange(last_ - 1, change);
    return;
  }
  if ((count_ + 1) * 2 > slots_.size()) Grow();
  const uint32_t hash = HashOf(key);
  Slot& slot = slots_[SlotOf(key, hash)];
  if (slot.place == 0) {
    slot = {hash, static_cast<uint32_t>(++count_)};
    entries_.append(key);
    entries_.append(sizeof change, '\0');
  }
  SetChange(slot.place - 1, change);
}

std::optional<PendingKeys::Change> PendingKeys::Find(std::string_view key) const {
  if (count_ == 0 || key.size() != key_bytes_) return std::nullopt;
  if (last_ == 0 || KeyAt(last_ - 1) != key) last_ = slots_[SlotOf(key, HashOf(key))].place;
  return last_ == 0 ? std::nullopt : std::optional(ChangeAt(last_ - 1));
}

void PendingKeys::Clear() {
  // What a big batch took is kept for the next one, but not for a few keys.
  const bool spacious = slots_.size() > kMinSlots && count_ * 16 < slots_.size();
  slots_.assign(spacious ? kMinSlots : slots_.size(), {});
  entries_.clear();
  count_ = 0;
  last_ = 0;
}

void PendingKeys::Grow() {
  std::vector<Slot> old(slots_.size() * 2);
  old.swap(slots_);
  const size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.place == 0) continue;
    size_t i = slot.hash & mask;
    while (slots_[i].place != 0) i = (i + 1) & mask;
    slots_[i] = slot;
  }
}

// Most comparisons are settled by the first bytes, which are taken along so that no key need be looked at.
const std::vector<uint32_t>& PendingKeys::Sorted() {
  struct Item {
    uint64_t first, second;  // The first 16 bytes of the key, highest byte first.
    uint32_t place;
  };
  const auto number = [](std::string_view bytes) {
    uint64_t n = 0;
    for (size_t i = 0; i < sizeof n; ++i) n = n << 8 | (i < bytes.size() ? static_cast<uint8_t>(bytes[i]) : 0);
    return n;
  };
  std::vector<Item> items(count_);
  for (uint32_t i = 0; i < count_; ++i) {
    const std::string_view key = KeyAt(i);
    items[i] = {number(key), number(key.substr(std::min<size_t>(key.size(), 8))), i};
  }
  std::sort(items.begin(), items.end(), [this](const Item& a, const Item& b) {
    if (a.first != b.first) return a.first < b.first;
    if (a.second != b.second) return a.second < b.second;
    return KeyAt(a.place) < KeyAt(b.place);
  });
  order_.resize(count_);
  std::transform(items.begin(), items.end(), order_.begin(), [](const Item& item) { return item.place; });
  return order_;
}

bool KnownEnds::Absent(std::string_view key) const {
  if (key.size() <= kCountedBytes) return false;
  const auto absent = first_absent_.Find(RunOf(key));
  return absent && CountOf(key) >= absent->row;
}

void KnownEnds::Learn(std::string_view key) {
  if (!learning_ || key.size() <= kCountedBytes || first_absent_.Count() >= kMaxRuns) return;
  // Of a known run some keys may not be in the index yet.
  if (!first_absent_.Find(RunOf(key))) first_absent_.Set(RunOf(key), {CountOf(key), false});
}

void KnownEnds::Added(std::string_view key) {
  std::optional<PendingKeys::Change> absent;
  if (key.size() > kCountedBytes) absent = first_absent_.Find(RunOf(key));
  const uint32_t count = absent ? CountOf(key) : 0;
  if (!absent || count == UINT32_MAX) {
    // Nothing behind the last number there is could be told.
    if (absent) first_absent_.Clear();
    learning_ = false;
  } else if (count >= absent->row) {
    first_absent_.Set(RunOf(key), {count + 1, false});
  }
}

void KnownEnds::Applied() {
  if (first_absent_.Count() >= kMaxRuns) first_absent_.Clear();
  learning_ = true;
}

void KnownEnds::Clear() {
  first_absent_.Clear();
  learning_ = true;
}

}  // namespace vantry
