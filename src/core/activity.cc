#include "core/activity.h"

#include <algorithm>

#include "core/tables.h"

namespace vantry {
namespace {

constexpr int32_t Grown(int64_t from, int64_t to) {
  return static_cast<int32_t>(std::clamp<int64_t>(to - from, 0, INT32_MAX));
}

void Add(int32_t& count, int32_t more) {
  count = static_cast<int32_t>(std::min<int64_t>(int64_t{count} + more, INT32_MAX));
}

}  // namespace

void ActivityRing::Feed(const LiveTables& t, UtcTime now) {
  Advance(now);
  sites_.resize(t.Sites.size());
  visitors_ = 0;
  int64_t of_sites = 0;
  for (size_t i = 0; i < t.Sites.size(); ++i) {
    of_sites += t.Sites[i].TotalExceptions;
    FeedSite(t.Sites[i], sites_[i]);
  }
  const int64_t siteless = t.TotalExceptionCount - of_sites;
  if (begun_) Add(all_[slot_].exceptions, Grown(siteless_exceptions_, siteless));
  siteless_exceptions_ = siteless;
  all_[slot_].visitors = std::max(all_[slot_].visitors, Grown(0, visitors_));
  begun_ = true;
}

// Moves on to the present minute and empties those in between.
void ActivityRing::Advance(UtcTime now) {
  const int64_t minutes = begun_ ? MinutesBetween(last_, now) : 0;
  last_ = now;
  for (int64_t left = std::min<int64_t>(minutes, kMinutes); left > 0; --left) {
    slot_ = (slot_ + 1) % kMinutes;
    all_[slot_] = {};
    for (OneSite& one : sites_) one.hour[slot_] = {};
  }
}

void ActivityRing::FeedSite(const SiteRec& site, OneSite& one) {
  if (site.Deleted) {
    if (!one.empty) one = {};
    return;
  }
  one.empty = false;
  const Counters before = one.last;
  one.last = {site.PagesCounted, site.TotalSpiders, site.TotalExceptions};
  if (!site.ReadOnce) return;
  if (one.settled < kSettleTicks) {
    ++one.settled;
    return;
  }
  const Counters more{Grown(before.page_views, one.last.page_views), Grown(before.spiders, one.last.spiders),
                      Grown(before.exceptions, one.last.exceptions)};
  for (ActivityMinute* minute : {&one.hour[slot_], &all_[slot_]}) {
    Add(minute->page_views, more.page_views);
    Add(minute->spiders, more.spiders);
    Add(minute->exceptions, more.exceptions);
  }
  one.hour[slot_].visitors = std::max(one.hour[slot_].visitors, site.CurrentVisitors);
  visitors_ += site.CurrentVisitors;
}

ActivityRing::Hour ActivityRing::HourOf(int16_t site) const {
  if (site < 0 || static_cast<size_t>(site) > sites_.size()) return {};
  Hour hour = site == 0 ? all_ : sites_[static_cast<size_t>(site) - 1].hour;
  std::rotate(hour.begin(), hour.begin() + static_cast<ptrdiff_t>((slot_ + 1) % kMinutes), hour.end());
  return hour;
}

}  // namespace vantry
