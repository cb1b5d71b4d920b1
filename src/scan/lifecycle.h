// The end of visits. A log never says that a visitor left: two clocks age each visitor, and the first to run out
// counts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scan/scan_context.h"

namespace vantry {

class Lifecycle {
 public:
  explicit Lifecycle(ScanContext& c) : c_(c), t_(c.t) {}

  // Ages all visitors and removes those whose time is up. Must not run inside a scan.
  void ScanToRemove();

  // The visit has ended; the record leaves at the next RemoveInactive unless a page view clears `Remove` before.
  void MarkForRemoval(VisitorRec& visitor);

  // Removes all marked visitors: closes their visits, takes them off the grids. Visitor numbers are void afterwards.
  void RemoveInactive();

  // The length of the visit so far as "hh:mm", or "<1 Minute".
  std::string VisitDuration(const VisitorRec& visitor) const;

 private:
  void Age(VisitorRec& visitor, WallTime now);
  void Leave(VisitorRec& visitor);
  void FinishAlertRow(const VisitorRec& visitor);

  ScanContext& c_;
  LiveTables& t_;
  std::vector<int32_t> marked_;  // Numbers; removal happens before any of them goes stale.
};

}  // namespace vantry
