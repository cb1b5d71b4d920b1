#include "monitors/touch.h"

#include <algorithm>

#include "core/exception_numbers.h"
#include "core/text.h"

namespace vantry {

std::string TouchURL(const SiteRec& site) {
  std::string url(Trim(site.Domain));
  if (!EqualsNoCase(std::string_view(url).substr(0, 4), "http")) url = "http://" + url;
  // Also behind a domain that ends in one: operators have pages that are reached like that.
  return url + "/" + site.TouchPage;
}

bool TouchMonitor::Wanted() const {
  return std::any_of(c_.t.Sites.begin(), c_.t.Sites.end(), [](const SiteRec& site) { return site.Touch; });
}

bool TouchMonitor::IsDue(int16_t n) const {
  const SiteRec& site = c_.t.Site(n);
  return site.Touch && !site.Deleted && c_.clock.Now() > site.TouchNext && !asked_.contains(n);
}

// The table may change while the loop turns.
void TouchMonitor::TouchTimerTick() {
  for (int16_t n = 1; n <= c_.t.SiteCount() && !c_.t.Closing; ++n) {
    if (!IsDue(n)) continue;
    SiteRec& site = c_.t.Site(n);
    site.TouchNext.s = c_.clock.Now().s + int64_t{60} * site.TouchEvery;
    if (c_.t.Corrected.TouchEachSite) {
      TouchAside(n);
    } else {
      TouchOne(n);
    }
  }
}

void TouchMonitor::TouchOne(int16_t n) {
  TouchSite = n;
  if (request_ != 0) c_.http.Reset(request_);
  request_ = c_.http.Get(TouchURL(c_.t.Site(n)), [this](const Status& status) { Book(TouchSite, status); });
  c_.loop.Turn();
}

void TouchMonitor::TouchAside(int16_t n) {
  asked_.insert(n);
  c_.http.Get(TouchURL(c_.t.Site(n)), [this, n](const Status& status) {
    asked_.erase(n);
    Book(n, status);
  });
}

// A failure is raised each time, a success only after a failure.
void TouchMonitor::Book(int16_t n, const Status& status) {
  if (c_.t.Closing || n < 1 || n > c_.t.SiteCount()) return;
  const LogTime now{c_.clock.Now().s};
  if (!status.ok()) {
    c_.exceptions.AddException(n, kExTouchFailed, now, status.text, "", 0);
    c_.t.Site(n).TouchFailed = true;
  } else if (c_.t.Site(n).TouchFailed) {
    c_.exceptions.AddException(n, kExTouchResumed, now, std::nullopt, "", 0);
    c_.t.Site(n).TouchFailed = false;
  }
}

}  // namespace vantry
