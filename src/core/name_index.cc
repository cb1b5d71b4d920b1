#include "core/name_index.h"

#include "core/tables.h"
#include "core/wildcard.h"

namespace vantry {

bool NameIndex::ByNumber::operator()(const VisitorRec* a, const VisitorRec* b) const {
  return a->Number < b->Number;
}

VisitorRec* NameIndex::First(const std::string& mask, const std::function<void(const Visit&)>& for_each) {
  auto found = matches_.find(mask);
  if (found == matches_.end()) {
    std::set<VisitorRec*, ByNumber> visitors;
    for_each([&](VisitorRec& v) {
      if (Like(v.DNS, mask)) visitors.insert(visitors.end(), &v);
    });
    // Masks that the settings no longer have go here, too.
    if (matches_.size() == kMostMasks) matches_.clear();
    found = matches_.emplace(mask, std::move(visitors)).first;
  }
  return found->second.empty() ? nullptr : *found->second.begin();
}

void NameIndex::NameChanged(VisitorRec& visitor) {
  for (auto& [mask, visitors] : matches_) {
    if (Like(visitor.DNS, mask)) {
      visitors.insert(visitors.end(), &visitor);
    } else {
      visitors.erase(&visitor);
    }
  }
}

void NameIndex::Leaves(VisitorRec& visitor) {
  for (auto& [mask, visitors] : matches_) visitors.erase(&visitor);
}

}  // namespace vantry
