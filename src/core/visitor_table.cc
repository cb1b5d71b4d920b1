#include "core/visitor_table.h"

#include <functional>

#include "core/tables.h"

namespace vantry {
namespace {

uint64_t HashOf(int16_t site, std::string_view ip) {
  const uint64_t h = std::hash<std::string_view>{}(ip) + static_cast<uint64_t>(static_cast<uint16_t>(site));
  return h * 0x9E3779B97F4A7C15u;  // Spreads the site over all bits (Fibonacci hashing).
}

}  // namespace

VisitorTable::VisitorTable() : index_(64) {}
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
  const uint64_t hash = HashOf(site, ip);
  const size_t mask = index_.size() - 1;
  VisitorRec* first = nullptr;
  for (size_t i = hash & mask; index_[i].visitor; i = (i + 1) & mask) {
    if (index_[i].hash != hash) continue;
    VisitorRec* v = index_[i].visitor;
    // Two visitors can share an address after a name server's answer changed one: the earlier one counts.
    if (v->Site == site && v->IP == ip && (!first || v->Number < first->Number)) first = v;
  }
  return first;
}

void VisitorTable::WarmIndex(int16_t site, std::string_view ip) const {
  __builtin_prefetch(&index_[HashOf(site, ip) & (index_.size() - 1)]);
}

void VisitorTable::WarmRecord(int16_t site, std::string_view ip) const {
  const auto* record = reinterpret_cast<const char*>(index_[HashOf(site, ip) & (index_.size() - 1)].visitor);
  for (size_t line = 0; record && line < 3; ++line) __builtin_prefetch(record + line * 64);
}

int32_t VisitorTable::Add(int16_t site, std::string_view ip) {
  auto visitor = std::make_unique<VisitorRec>();
  visitor->Site = site;
  visitor->IP = ip;
  visitor->Number = static_cast<int32_t>(places_.size() + 1);
  if (static_cast<size_t>(count_ + 1) * 10 > index_.size() * 7) Grow();
  IndexAdd(*visitor);
  places_.push_back(std::move(visitor));
  ++count_;
  return static_cast<int32_t>(places_.size());
}

void VisitorTable::ChangeAddress(VisitorRec& visitor, std::string_view ip) {
  IndexRemove(visitor);
  visitor.IP = ip;
  IndexAdd(visitor);
}

void VisitorTable::Remove(const std::vector<int32_t>& numbers) {
  for (const int32_t number : numbers) {
    VisitorRec* visitor = At(number);
    if (!visitor) continue;
    IndexRemove(*visitor);
    places_[static_cast<size_t>(number - 1)].reset();
    --count_;
  }
  if (static_cast<size_t>(count_) < places_.size() / 2 || count_ == 0) CloseGaps();
}

void VisitorTable::IndexAdd(VisitorRec& visitor) {
  const uint64_t hash = HashOf(visitor.Site, visitor.IP);
  const size_t mask = index_.size() - 1;
  size_t i = hash & mask;
  while (index_[i].visitor) i = (i + 1) & mask;
  index_[i] = {hash, &visitor};
}

void VisitorTable::IndexRemove(const VisitorRec& visitor) {
  const size_t mask = index_.size() - 1;
  size_t hole = HashOf(visitor.Site, visitor.IP) & mask;
  while (index_[hole].visitor != &visitor) hole = (hole + 1) & mask;
  // Later entries of the run move up, unless they stand between their own place and the hole.
  for (size_t i = (hole + 1) & mask; index_[i].visitor; i = (i + 1) & mask) {
    const size_t home = index_[i].hash & mask;
    if (((i - home) & mask) >= ((i - hole) & mask)) {
      index_[hole] = index_[i];
      hole = i;
    }
  }
  index_[hole] = {};
}

void VisitorTable::Grow() {
  std::vector<Entry> old(index_.size() * 2);
  old.swap(index_);
  const size_t mask = index_.size() - 1;
  for (const Entry& entry : old) {
    if (!entry.visitor) continue;
    size_t i = entry.hash & mask;
    while (index_[i].visitor) i = (i + 1) & mask;
    index_[i] = entry;
  }
}

void VisitorTable::CloseGaps() {
  std::erase_if(places_, [](const auto& place) { return !place; });
  for (size_t i = 0; i < places_.size(); ++i) places_[i]->Number = static_cast<int32_t>(i + 1);
}

}  // namespace vantry
