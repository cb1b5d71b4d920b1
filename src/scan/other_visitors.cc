#include "scan/other_visitors.h"

namespace vantry {

void OtherVisitors::Count(VisitorRec& v, std::string_view address) {
  Numbers& numbers = sites_[v.Site];
  if (numbers.visit != v.VisitNo) numbers = {.visit = v.VisitNo, .pages = 0, .addresses = {}};
  ++numbers.pages;
  numbers.addresses.Add(address);
  v.HackRaised = v.PagesRaised = v.LongVisitRaised = true;
  v.HackCount = v.NotFoundCount = 0;
  v.KnownName = t_.Visitors.Shared("other (" + std::to_string(numbers.addresses.Count()) + " addresses, " +
                                   std::to_string(numbers.pages) + " pages)");
}

}  // namespace vantry
