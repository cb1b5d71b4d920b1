// Whether the web servers of the sites answer: asks each for a page every few minutes, and raises an exception when
// that fails and when it works again.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "core/sinks.h"
#include "core/tables.h"
#include "ports/clock.h"
#include "ports/http.h"
#include "ports/loop.h"

namespace vantry {

// The address that is asked for: the domain, with "http://" in front unless it begins with "http", then always a "/",
// then the page.
std::string TouchURL(const SiteRec& site);

struct TouchContext {
  LiveTables& t;
  Clock& clock;
  Loop& loop;
  Http& http;
  ExceptionSink& exceptions;
};

class TouchMonitor {
 public:
  static constexpr int64_t kTouchTimerMs = 60'000;

  explicit TouchMonitor(TouchContext c) : c_(c) {}

  // Whether a site has Touch on.
  bool Wanted() const;
  // Asks for the pages of all sites that are due. There is one request: the next site's drops it, and whatever comes of
  // requests is booked to the site asked last. Corrected, every site has its own. Turns the loop.
  void TouchTimerTick();

 private:
  bool IsDue(int16_t site) const;
  void TouchOne(int16_t site);
  void TouchAside(int16_t site);
  void Book(int16_t site, const Status& status);

  TouchContext c_;
  int16_t TouchSite = 0;     // The site whose request is the latest one started.
  int64_t request_ = 0;      // That request.
  std::set<int16_t> asked_;  // Corrected: the sites whose request is under way.
};

}  // namespace vantry
