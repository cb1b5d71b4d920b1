#include "core/visitor_table.h"

#include <algorithm>

#include "core/tables.h"

namespace vantry {

uint64_t VisitorTable::HashOf(int16_t site, std::string_view ip) {
  return SpreadHash(ip, static_cast<uint16_t>(site));
}

VisitorTable::VisitorTable() = default;
VisitorTable::~VisitorTable() = default;

VisitorRec* VisitorTable::At(int32_t number) const {
  if (number < 1 || static_cast<size_t>(number) > places_.size()) return nullptr;
  return places_[static_cast<size_t>(number - 1)].get();
}

int32_t VisitorTable::Find(int16_t site, std::string_view ip) const {
  const VisitorRec* visitor = Lookup(site, ip);
  return visitor ? visitor->Number : 0;
}

VisitorRec* VisitorTable::Lookup(int16_t site, std::string_view ip) const {
  VisitorRec* first = nullptr;
  index_.ForEach(HashOf(site, ip), [&](VisitorRec& v) {
    // Two visitors can share an address after a name server's answer changed one: the earlier one counts.
    if (v.Site == site && v.IP == ip && (!first || v.Number < first->Number)) first = &v;
  });
  return first;
}

void VisitorTable::WarmRecord(uint64_t hash) const {
  const auto* record = reinterpret_cast<const char*>(index_.Guess(hash));
  for (size_t line = 0; record && line < 3; ++line) __builtin_prefetch(record + line * 64);
}

int32_t VisitorTable::Add(int16_t site, std::string_view ip) {
  auto visitor = std::make_unique<VisitorRec>();
  visitor->Site = site;
  visitor->IP = ip;
  visitor->Number = static_cast<int32_t>(places_.size() + 1);
  index_.Add(HashOf(site, ip), *visitor);
  places_.push_back(std::move(visitor));
  ++count_;
  return static_cast<int32_t>(places_.size());
}

void VisitorTable::ChangeAddress(VisitorRec& visitor, std::string_view ip) {
  index_.Remove(HashOf(visitor.Site, visitor.IP), visitor);
  visitor.IP = ip;
  index_.Add(HashOf(visitor.Site, visitor.IP), visitor);
}

void VisitorTable::ChangeName(VisitorRec& visitor, std::string name) {
  visitor.DNS = std::move(name);
  names_.NameChanged(visitor);
}

VisitorRec* VisitorTable::FirstNamed(const std::string& mask) {
  return names_.First(mask,
                      [this](const NameIndex::Visit& visit) { ForEach([&](int32_t, VisitorRec& v) { visit(v); }); });
}

void VisitorTable::Remove(std::span<const int32_t> numbers, const std::function<void(VisitorRec&)>& leave) {
  constexpr size_t kAhead = 8;
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (i + kAhead < numbers.size()) WarmPlace(numbers[i + kAhead]);
    VisitorRec* visitor = At(numbers[i]);
    if (!visitor) continue;
    if (leave) leave(*visitor);
    index_.Remove(HashOf(visitor->Site, visitor->IP), *visitor);
    names_.Leaves(*visitor);
    places_[static_cast<size_t>(numbers[i] - 1)].reset();
    --count_;
    ++removed_;
  }
}

void VisitorTable::WarmPlace(int32_t number) const {
  const auto* record = reinterpret_cast<const char*>(At(number));
  for (size_t line = 0; record && line < sizeof(VisitorRec) / 64; ++line) __builtin_prefetch(record + line * 64);
}

void VisitorTable::CloseGaps() {
  if (static_cast<size_t>(count_) >= places_.size() / 2 && count_ != 0) return;
  std::erase_if(walks_, [](const auto& walk) { return walk.expired(); });
  for (const auto& weak : walks_) {
    const auto walk = weak.lock();
    const auto before = [this](int32_t place) {
      const auto end = places_.begin() + std::clamp(place, 0, LastNumber());
      return static_cast<int32_t>(std::count_if(places_.begin(), end, [](const auto& p) { return p != nullptr; }));
    };
    walk->next = before(walk->next - 1) + 1;
    walk->end = before(walk->end);
  }
  std::erase_if(places_, [](const auto& place) { return !place; });
  for (size_t i = 0; i < places_.size(); ++i) places_[i]->Number = static_cast<int32_t>(i + 1);
}

std::shared_ptr<VisitorTable::Walk> VisitorTable::NewWalk() {
  std::erase_if(walks_, [](const auto& walk) { return walk.expired(); });
  auto walk = std::make_shared<Walk>(Walk{1, LastNumber()});
  walks_.push_back(walk);
  return walk;
}

}  // namespace vantry
