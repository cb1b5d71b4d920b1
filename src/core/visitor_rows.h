// How visitors and what they do get into the lists, and the hidden flags that make a view of one site out of lists that
// always hold all sites.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/regional.h"
#include "core/tables.h"

namespace vantry {

// Makes the new visitor a row of the list of visitors, hidden when another site is shown. The visitor is its own row:
// what is shown of it is made of its record when it is shown.
void AddToGrid(LiveTables& t, VisitorRec& visitor);

// Takes over what the rows of alerts and spiders show of a visitor; hidden when another site is shown.
void FillDayRow(const LiveTables& t, const VisitorRec& visitor, VisitorDayRow& row);

// Adds the visitor's row to spiderGrid, counts it in the day's and the run's spiders, clears SpiderPending.
void AddSpider(LiveTables& t, VisitorRec& visitor);

// Sets the hidden flag of every visitor and of every row of the day's lists for CurrentView. `exception_number` gives
// the number of the exception type at a 1-based place of the type table, 0 for none, for a site that shows one type
// alone.
void HideRowsOutsideView(LiveTables& t, const std::function<int(int16_t place)>& exception_number);

// Whether rows of this site show in the current view.
bool ShowsSite(const LiveTables& t, int16_t site);

// Whether a row of this site's alert passes the site's filter and the view.
bool ShowsAlert(const LiveTables& t, int16_t site, int16_t alert_no);

// The number of the one exception type that the current view shows; 0 when it shows all.
int ExceptionFilter(const LiveTables& t, const std::function<int(int16_t place)>& exception_number);

// Whether an exception shows in the current view; `filter` is what ExceptionFilter told. Exceptions of no site show in
// every view.
bool ShowsException(const LiveTables& t, const ExceptionRow& row, int filter);

// Seconds as minutes, ":" and two-digit seconds; up to 60 seconds read "0:" and the seconds.
std::string MinutesText(int64_t seconds);

// What a list tells of a visitor whose row is pointed at: the first visit if it was not this one, the number of pages,
// country and browser.
std::string VisitorTip(const VisitorRec& visitor, const Regional& regional);

// Text of a site in the tree: name and count, or name and " (Paused)".
std::string SiteNodeText(const SiteRec& site);

}  // namespace vantry
