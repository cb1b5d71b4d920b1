#include "scan/lifecycle.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

#include "core/quiet_lines.h"
#include "core/visitor_rows.h"

namespace vantry {
namespace {

struct Busy {
  explicit Busy(bool& flag) : flag_(flag) { flag_ = true; }
  ~Busy() { flag_ = false; }
  bool& flag_;
};

}  // namespace

void Lifecycle::MarkForRemoval(VisitorRec& v) {
  v.Remove = true;
  marked_.push_back(v.Number);
}

void Lifecycle::Age(VisitorRec& v, WallTime now) {
  const int64_t limit = c_.settings.InactivityMins;
  // As if a first scan were one call: the lines that go on with a visit may be on their way.
  if (const SiteRec& site = t_.Site(v.Site); site.Fetching && !site.ReadOnce) return;
  // Wall clock since the last counted view, and the log's own clock, which runs ahead when old lines are read.
  const int64_t minutes[] = {MinutesBetween(v.LastClock, now),
                             MinutesBetween(v.LastHitTime, t_.Site(v.Site).LastReadDateTime)};
  for (const int64_t m : minutes) {
    if (!v.Idle && m >= limit / 2) {
      v.Idle = true;
      t_.Visitors.Touch(v);
      if (t_.Live) t_.Live->Changed(v);
    }
    if (m > limit && !v.Remove) MarkForRemoval(v);
  }
}

void Lifecycle::ScanToRemove() {
  const Busy busy(t_.ScanInProgress);
  last_yield_ = c_.clock.Steady();
  c_.log.Guard("ScanToRemove", [&] {
    AgeAll();
    ForgetLeft();
    return Status::Ok();
  });
  if (!t_.Closing && !marked_.empty()) RemoveMarked(true);
}

void Lifecycle::EndDay() {
  const Busy busy(t_.ScanInProgress);
  last_yield_ = c_.clock.Steady();
  t_.Visitors.ForEach([this](int32_t, VisitorRec& v) { MarkForRemoval(v); });
  RemoveMarked(true);
  left_.clear();
}

// Lines need not be in order of time, so nobody is forgotten at the limit itself.
bool Lifecycle::MayGoOn(const VisitorRec& v) const {
  const SiteRec& site = t_.Site(v.Site);
  return MinutesBetween(v.LastHitTime, site.LastReadDateTime) <= kTakeBackLimits * c_.settings.InactivityMins;
}

// Only a log that was read on for a minute, the unit of MayGoOn, can have ended the visits of its visitors.
void Lifecycle::ForgetLeft() {
  for (auto i = left_.begin(); i != left_.end();) {
    auto& [number, left] = *i;
    const LogTime read = t_.Site(number).LastReadDateTime;
    if (MinutesBetween(left.looked, read) != 0) {
      std::erase_if(left.visitors, [this](const auto& v) { return !MayGoOn(v.second); });
      left.looked = read;
    }
    i = left.visitors.empty() ? left_.erase(i) : std::next(i);
  }
}

VisitorRec* Lifecycle::TakeBack(int16_t number, std::string_view ip, LogTime hit) {
  const auto site = left_.find(number);
  if (site == left_.end()) return nullptr;
  auto& visitors = site->second.visitors;
  const auto found = visitors.find(VisitorTable::HashOf(number, ip));
  if (found == visitors.end() || found->second.IP != ip) return nullptr;
  auto left = visitors.extract(found);
  if (IsOver(left.mapped(), hit)) return nullptr;
  VisitorRec& v = *t_.Visitors.At(t_.Visitors.Add(number, ip));
  const int32_t place = v.Number;
  v = std::move(left.mapped());
  v.Number = place;
  v.Remove = false;
  v.GridDirty = true;
  v.LastPageRow = PageRows::kNoRow;
  t_.Visitors.ChangeName(v, v.DNSDone ? std::string(v.DNS) : c_.names.ResolveVisitor(v));
  ++t_.Site(number).CurrentVisitors;
  AddToGrid(t_, v);
  return &v;
}

// Nobody comes or goes while this turns the loop, so numbers hold over it; records may change.
bool Lifecycle::GoOn() {
  if (c_.clock.Steady().ms - last_yield_.ms >= kYieldMs) {
    c_.loop.Turn();
    last_yield_ = c_.clock.Steady();
  }
  return !t_.Closing;
}

void Lifecycle::AgeAll() {
  const WallTime now = c_.clock.Now();
  for (int32_t n = 1; n <= t_.Visitors.LastNumber(); ++n) {
    if (VisitorRec* v = t_.Visitors.At(n)) Age(*v, now);
    if (n % kVisitorsPerCheck == 0 && !GoOn()) return;
  }
}

void Lifecycle::RemoveInactive() {
  RemoveMarked(false);
}

void Lifecycle::EndVisit(VisitorRec& v) {
  over_ = v.Number;
  MarkForRemoval(v);
  RemoveInactive();
  over_ = 0;
}

void Lifecycle::RemoveMarked(bool yields) {
  std::vector<int32_t> numbers;
  numbers.swap(marked_);
  const bool done = c_.log.Guard("RemoveInactive", [&] { return RemoveEach(numbers, yields); });
  // After a failure the rest are tried again at the next tick.
  if (!done) {
    for (const int32_t n : numbers) {
      if (t_.Visitors.At(n)) marked_.push_back(n);
    }
  }
}

Status Lifecycle::RemoveEach(std::vector<int32_t>& numbers, bool yields) {
  std::erase_if(numbers, [&](int32_t n) {
    const VisitorRec* v = t_.Visitors.At(n);
    return !v || !v->Remove;
  });
  std::sort(numbers.begin(), numbers.end());
  for (std::span<const int32_t> rest(numbers); !rest.empty();) {
    const auto some = rest.first(std::min<size_t>(kVisitorsPerCheck, rest.size()));
    t_.Visitors.Remove(some, [this](VisitorRec& v) { Leave(v); });
    rest = rest.subspan(some.size());
    if (yields && !GoOn()) return Status::Ok();
  }
  t_.Visitors.CloseGaps();
  if (t_.Visitors.Count() == 0) t_.pageGrid.Clear();
  std::sort(dirty_sites_.begin(), dirty_sites_.end());
  for (const int16_t n : dirty_sites_) {
    if (n > t_.SiteCount() || !t_.Site(n).ViewDirty) continue;
    c_.view.RefreshSiteNode(n);
    t_.Site(n).ViewDirty = false;
  }
  dirty_sites_.clear();
  c_.view.UpdateStatus();
  return Status::Ok();
}

void Lifecycle::Leave(VisitorRec& v) {
  SiteRec& site = t_.Site(v.Site);
  site.LastIP = v.IP;
  site.LastPage = v.Page;
  site.LastTime = v.LastHitTime;
  if (site.CurrentVisitors > 0) --site.CurrentVisitors;
  site.ViewDirty = true;
  if (dirty_sites_.empty() || dirty_sites_.back() != v.Site) dirty_sites_.push_back(v.Site);
  FinishAlertRow(v);
  if (t_.InterfaceCount > 0 && !IsQuietLine(t_, site)) c_.events.VisitorLeft(site.Domain, v);
  if (t_.Live) t_.Live->Left(v);
  c_.history.UpdateVisitInDatabase(v);
  const bool may_go_on = t_.Corrected.QuietReplay && v.Number != over_ && MayGoOn(v);
  if (may_go_on) left_[v.Site].visitors.insert_or_assign(VisitorTable::HashOf(v.Site, v.IP), v);
}

void Lifecycle::FinishAlertRow(const VisitorRec& v) {
  // An address that came back has a row for each visit.
  AlertRow* row = t_.logGrid.FindFirst(AlertRow::VisitHash(v.IP, v.Site, v.VisitNo), [&](const AlertRow& r) {
    return r.site == v.Site && r.visit_no == v.VisitNo && r.ip == v.IP;
  });
  if (!row) return;
  row->seconds_on_site = v.LastHitTime.s - v.StartTime.s;
  if (v.HackCount > 3) row->suspect = true;
}

}  // namespace vantry
