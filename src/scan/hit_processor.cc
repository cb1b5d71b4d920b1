// The frame of `SplitLine`: position, day, replay. Then visitor_hits.cc goes from the hit to the counted page.
#include "scan/hit_processor.h"

namespace vantry {

void HitProcessor::SetLayout(int16_t number) {
  SiteRec& site = t_.Site(number);
  const LogFormat& format = FormatOf(site.Type);
  parser_.SetFormat(format, {.true_times = t_.Corrected.TrueTimes,
                             .quoted_fields = t_.Corrected.NcsaFields,
                             .local_time = site.UseLocalTime});
  site.FieldSeparator = format.separator;
  if (format.layout) site.FieldsKnown = true;
  if (format.proxy_style) site.ProxyStyle = *format.proxy_style;
}

void HitProcessor::WarmUp(int16_t number, std::string_view next_line) {
  // A few visitors are all in the cache already.
  constexpr int32_t kManyVisitors = 4'000;
  if (t_.Visitors.Count() < kManyVisitors) return;
  t_.Visitors.WarmRecord(next_visitor_);
  const auto address = parser_.AddressIn(next_line);
  if (!address) return;
  next_visitor_ = VisitorTable::HashOf(number, *address);
  t_.Visitors.WarmIndex(next_visitor_);
}

// A server's clock may run ahead of this one a little; a line far ahead is of no day that comes soon.
bool HitProcessor::IsOfComingDay(LogTime hit) const {
  constexpr int64_t kAhead = 600;
  return t_.Corrected.CatchUpRollover && hit.s <= c_.clock.Now().s + kAhead;
}

bool HitProcessor::SplitLine(std::string_view line, int16_t number) {
  SiteRec& site = t_.Site(number);
  const LogTime hit = parser_.ReadTime(line);
  const Day day = DayOf(hit);
  met_coming_day_ = day > t_.Today && IsOfComingDay(hit);
  if (met_coming_day_) return false;
  site.LastReadPos = t_.Hit.CurPos;
  if (day != t_.Today) return false;
  site.LastReadDateTime = hit;
  // The two times are equal here, so this ends a line only when InactivityMins is 0: then a site that has caught up
  // processes no further lines.
  if (site.CaughtUp && MinutesBetween(hit, site.LastReadDateTime) >= c_.settings.InactivityMins) return false;
  if (site.Replaying && site.LastReadPos > site.ReplayUntilPos) site.ReplayUntilPos = 0;
  if (parser_.ReadPage(site) && KeepExtension()) ProcessHit(line, number, hit);
  return true;
}

}  // namespace vantry
