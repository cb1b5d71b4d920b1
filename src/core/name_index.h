// Which visitors have names that fit a mask, so that the first of them is found without a walk through all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace vantry {

struct VisitorRec;

class NameIndex {
 public:
  // How many masks are kept; the settings have 50 at most.
  static constexpr size_t kMostMasks = 64;

  using Visit = std::function<void(VisitorRec&)>;
  // Returns the first visitor by number whose DNS fits the mask, of this site or of any (0), null when there is none. A
  // mask that is new here costs one call of `for_each`, which goes through all visitors; from then on its matches are
  // kept. So does a mask asked for by site after it was asked for without, and the other way round.
  VisitorRec* First(const std::string& mask, int16_t site, const std::function<void(const Visit&)>& for_each);

  // To be called after a visitor's DNS has changed, and before a visitor leaves the table.
  void NameChanged(VisitorRec& visitor);
  void Leaves(VisitorRec& visitor);

 private:
  // Numbers change when gaps are closed, but never their order.
  struct ByNumber {
    bool operator()(const VisitorRec* a, const VisitorRec* b) const;
  };
  struct Matches {
    bool by_site = false;
    std::map<int16_t, std::set<VisitorRec*, ByNumber>> visitors;  // By site; all of them under 0 if not by site.
    std::set<VisitorRec*, ByNumber>& Of(const VisitorRec& visitor);
  };
  std::map<std::string, Matches> matches_;  // By mask.
};

}  // namespace vantry
