// What went on in the last hour, minute by minute: for a small chart, and for other programs.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "core/date_time.h"

namespace vantry {

struct LiveTables;
struct SiteRec;

struct ActivityMinute {
  int32_t visitors = 0;  // The most that were there at one time.
  int32_t page_views = 0, spiders = 0, exceptions = 0;

  bool operator==(const ActivityMinute&) const = default;
};

// Made from counters that the tables have anyway, looked at once a tick, so that a hit costs nothing. Takes 980 bytes a
// site: 1 MB with 1,000 sites.
//
// What a site's first reading of its log brings is not activity of this hour and counts nowhere: a site counts from
// kSettleTicks after that reading, when the visits that were over have left. What piled up later, while the site or the
// program was paused, counts in the minute in which it is read.
class ActivityRing {
 public:
  static constexpr int kMinutes = 60;
  static constexpr int kSettleTicks = 5;
  using Hour = std::array<ActivityMinute, kMinutes>;

  // Counts what has happened since the last call. `now` is in UTC, so that summer time moves nothing. Minutes in which
  // nobody called are empty; a clock that is set back goes on in the same minute.
  void Feed(const LiveTables& t, UtcTime now);

  // The minutes of a site, or of all for 0, oldest first; the last one is not over. Empty for a site that is deleted or
  // does not exist. Exceptions of no site count for all.
  Hour HourOf(int16_t site) const;
  // When Feed was called last; unset before.
  UtcTime FedAt() const { return last_; }

 private:
  struct Counters {
    int32_t page_views = 0, spiders = 0, exceptions = 0;
  };
  struct OneSite {
    Hour hour;
    Counters last;
    int32_t settled = 0;  // Calls since its log was first read to the end, up to kSettleTicks.
    bool empty = true;
  };
  static_assert(sizeof(OneSite) <= 980);

  void Advance(UtcTime now);
  void FeedSite(const SiteRec& site, OneSite& one);

  Hour all_;
  std::vector<OneSite> sites_;
  UtcTime last_;
  size_t slot_ = 0;  // Of the present minute, in every hour.
  bool begun_ = false;
  int64_t visitors_ = 0;  // Of all sites that count, at this call.
  int64_t siteless_exceptions_ = 0;
};

}  // namespace vantry
