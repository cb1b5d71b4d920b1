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
  const uint32_t place = places_[static_cast<size_t>(number - 1)];
  return place ? &store_[place] : nullptr;
}

int32_t VisitorTable::Find(int16_t site, std::string_view ip) const {
  const VisitorRec* visitor = Lookup(site, ip);
  return visitor ? visitor->Number : 0;
}

VisitorRec* VisitorTable::Lookup(int16_t site, std::string_view ip) const {
  VisitorRec* first = nullptr;
  index_.ForEach(HashOf(site, ip), [&](uint32_t place) {
    VisitorRec& v = store_[place];
    // Two visitors can share an address after a name server's answer changed one: the earlier one counts.
    if (v.Site == site && v.IP == ip && (!first || v.Number < first->Number)) first = &v;
  });
  return first;
}

void VisitorTable::WarmRecord(uint64_t hash) const {
  const uint32_t place = index_.Guess(hash);
  if (!place) return;
  const auto* record = reinterpret_cast<const char*>(&store_[place]);
  for (size_t line = 0; line < 2; ++line) __builtin_prefetch(record + line * 64);
}

int32_t VisitorTable::Add(int16_t site, std::string_view ip) {
  const uint32_t place = store_.Add();
  VisitorRec& visitor = store_[place];
  visitor.Site = site;
  visitor.IP = ip;
  visitor.Number = static_cast<int32_t>(places_.size() + 1);
  index_.Add(HashOf(site, ip), place);
  places_.push_back(place);
  ++count_;
  ++changes_;
  arrivals_.push_back(static_cast<uint32_t>(Arrived()));
  return visitor.Number;
}

void VisitorTable::ChangeAddress(VisitorRec& visitor, std::string_view ip) {
  const uint32_t place = places_[static_cast<size_t>(visitor.Number - 1)];
  index_.Remove(HashOf(visitor.Site, visitor.IP), place);
  visitor.IP = ip;
  index_.Add(HashOf(visitor.Site, visitor.IP), place);
}

void VisitorTable::ChangeName(VisitorRec& visitor, std::string_view name) {
  visitor.DNS = name;
  names_.NameChanged(visitor);
}

VisitorRec* VisitorTable::FirstNamed(const std::string& mask, int16_t site) {
  return names_.First(mask, site,
                      [this](const NameIndex::Visit& visit) { ForEach([&](int32_t, VisitorRec& v) { visit(v); }); });
}

void VisitorTable::Remove(std::span<const int32_t> numbers, const std::function<void(VisitorRec&)>& leave) {
  constexpr size_t kAhead = 8;
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (i + kAhead < numbers.size()) WarmPlace(numbers[i + kAhead]);
    VisitorRec* visitor = At(numbers[i]);
    if (!visitor) continue;
    if (leave) leave(*visitor);
    uint32_t& place = places_[static_cast<size_t>(numbers[i] - 1)];
    index_.Remove(HashOf(visitor->Site, visitor->IP), place);
    names_.Leaves(*visitor);
    store_.Remove(place);
    place = 0;
    --count_;
    ++removed_;
    ++changes_;
  }
}

void VisitorTable::Touch(VisitorRec& visitor) {
  visitor.GridDirty = true;
  ++changes_;
}

uint64_t VisitorTable::ArrivalAt(int32_t number) const {
  return Arrived() - (static_cast<uint32_t>(Arrived()) - arrivals_[static_cast<size_t>(number - 1)]);
}

int32_t VisitorTable::FindArrival(uint64_t arrival) const {
  const int32_t first = FirstFrom(arrival);
  return At(first) && ArrivalAt(first) == arrival ? first : 0;
}

int32_t VisitorTable::FirstFrom(uint64_t arrival) const {
  int32_t first = 1, end = LastNumber() + 1;
  while (first < end) {
    const int32_t middle = first + (end - first) / 2;
    if (ArrivalAt(middle) < arrival) {
      first = middle + 1;
    } else {
      end = middle;
    }
  }
  return first;
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
      return static_cast<int32_t>(std::count_if(places_.begin(), end, [](uint32_t p) { return p != 0; }));
    };
    walk->next = before(walk->next - 1) + 1;
    walk->end = before(walk->end);
  }
  size_t kept = 0;
  for (size_t i = 0; i < places_.size(); ++i) {
    if (places_[i]) arrivals_[kept++] = arrivals_[i];
  }
  arrivals_.resize(kept);
  std::erase(places_, 0u);
  if (places_.size() < places_.capacity() / 8) {
    places_.shrink_to_fit();
    arrivals_.shrink_to_fit();
  }
  for (size_t i = 0; i < places_.size(); ++i) store_[places_[i]].Number = static_cast<int32_t>(i + 1);
  index_.Fit();
  texts_.Fit();
}

std::shared_ptr<VisitorTable::Walk> VisitorTable::NewWalk() const {
  std::erase_if(walks_, [](const auto& walk) { return walk.expired(); });
  auto walk = std::make_shared<Walk>(Walk{1, LastNumber()});
  walks_.push_back(walk);
  return walk;
}

}  // namespace vantry
