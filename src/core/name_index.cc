#include "core/name_index.h"

#include "core/tables.h"
#include "core/wildcard.h"

namespace vantry {

bool NameIndex::ByNumber::operator()(const VisitorRec* a, const VisitorRec* b) const {
  return a->Number < b->Number;
}

std::set<VisitorRec*, NameIndex::ByNumber>& NameIndex::Matches::Of(const VisitorRec& visitor) {
  return visitors[by_site ? visitor.Site : int16_t{0}];
}

VisitorRec* NameIndex::First(const std::string& mask, int16_t site, const std::function<void(const Visit&)>& for_each) {
  auto found = matches_.find(mask);
  if (found == matches_.end() || found->second.by_site != (site != 0)) {
    Matches matches{.by_site = site != 0, .visitors = {}};
    for_each([&](VisitorRec& v) {
      if (!Like(v.DNS, mask)) return;
      auto& visitors = matches.Of(v);
      visitors.insert(visitors.end(), &v);
    });
    // Masks that the settings no longer have go here, too.
    if (matches_.size() == kMostMasks) matches_.clear();
    found = matches_.insert_or_assign(mask, std::move(matches)).first;
  }
  const auto visitors = found->second.visitors.find(site);
  return visitors == found->second.visitors.end() || visitors->second.empty() ? nullptr : *visitors->second.begin();
}

void NameIndex::NameChanged(VisitorRec& visitor) {
  for (auto& [mask, matches] : matches_) {
    auto& visitors = matches.Of(visitor);
    if (Like(visitor.DNS, mask)) {
      visitors.insert(visitors.end(), &visitor);
    } else {
      visitors.erase(&visitor);
    }
  }
}

void NameIndex::Leaves(VisitorRec& visitor) {
  for (auto& [mask, matches] : matches_) matches.Of(visitor).erase(&visitor);
}

}  // namespace vantry
