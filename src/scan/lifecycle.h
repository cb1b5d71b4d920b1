// The end of visits. A log never says that a visitor left: two clocks age each visitor, and the first to run out
// counts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "scan/scan_context.h"

namespace vantry {

class Lifecycle {
 public:
  explicit Lifecycle(ScanContext& c) : c_(c), t_(c.t) {}

  // A pass looks at the clock this often, and turns the loop when it has worked for longer than that.
  static constexpr int kVisitorsPerCheck = 64;
  static constexpr int64_t kYieldMs = 5;

  // Ages all visitors and removes those whose time is up. Must not run inside a scan. If it takes long, the loop turns
  // between two visitors, with ScanInProgress set so that no other pass begins; each visitor is gone in all respects
  // or in none. If the program closes meanwhile, the pass ends at once.
  void ScanToRemove();

  // The visit has ended; the record leaves at the next RemoveInactive unless a page view clears `Remove` before.
  void MarkForRemoval(VisitorRec& visitor);

  // Removes all marked visitors: closes their visits, takes them off the grids. Visitor numbers are void afterwards.
  // The loop does not turn in here.
  void RemoveInactive();
  // The log shows that this visit is over: it ends at once, and no later hit goes on with it. Numbers as above.
  void EndVisit(VisitorRec& visitor);

  // With QuietReplay the log alone decides where visits are cut: where its next line of the visitor is more than
  // InactivityMins after the newest before.
  bool IsOver(const VisitorRec& visitor, LogTime hit) const {
    return MinutesBetween(visitor.LastHitTime, hit) > c_.settings.InactivityMins;
  }
  // The clock may end a visit before the log shows that it is over, as when lines come late. If this hit goes on with
  // such a visit, puts it back into the table; null otherwise.
  VisitorRec* TakeBack(int16_t site, std::string_view ip, LogTime hit);
  // Ends all visits, and no hit goes on with one. As ScanToRemove, it must not run inside a scan.
  void EndDay();

 private:
  static constexpr int64_t kTakeBackLimits = 2;
  bool MayGoOn(const VisitorRec& visitor) const;
  void ForgetLeft();
  void AgeAll();
  void RemoveMarked(bool yields);
  Status RemoveEach(std::vector<int32_t>& numbers, bool yields);
  bool GoOn();
  void Age(VisitorRec& visitor, WallTime now);
  void Leave(VisitorRec& visitor);
  void FinishAlertRow(const VisitorRec& visitor);

  ScanContext& c_;
  LiveTables& t_;
  SteadyTime last_yield_;
  int32_t over_ = 0;                  // The number of the visitor in EndVisit.
  std::vector<int16_t> dirty_sites_;  // Those with ViewDirty, some more than once.
  std::vector<int32_t> marked_;       // Numbers; removal happens before any of them goes stale.
  // With QuietReplay: visitors of a site who left and whose visits the log may go on with.
  struct LeftVisitors {
    LogTime looked;                                     // How far the log was read when they were last looked through.
    std::unordered_map<uint64_t, VisitorRec> visitors;  // By VisitorTable::HashOf. Of two with one hash the later one.
  };
  std::unordered_map<int16_t, LeftVisitors> left_;  // By site.
};

}  // namespace vantry
