// How visitors stand in the grids: the rows that engine routines add, redraw and delete, and the hidden flags that make
// a view of one site out of grids that always hold all sites.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/regional.h"
#include "core/tables.h"

namespace vantry {

// Adds the row of a new visitor to VsGrid, hidden when another site is shown.
void AddToGrid(LiveTables& t, VisitorRec& visitor);

// Redraws the visitor's row in VsGrid and clears GridDirty. Nothing happens for a visitor without a row.
void UpdateGrid(LiveTables& t, VisitorRec& visitor);

// Redraws every row whose visitor changed since. A hit only marks its visitor (`GridDirty`), because a log of a million
// lines changes rows far more often than anyone looks; so call this before reading rows of VsGrid.
void UpdateDirtyRows(LiveTables& t);

// Deletes the rows of this visitor's pages from pageGrid.
void RemoveFromGrid(LiveTables& t, VisitorRec& visitor);

// Deletes every row of VsGrid with this site and DNS text: the fallback for a visitor whose key has no row.
void RemoveRowBySite(LiveTables& t, int16_t site, std::string_view dns);

// Adds the visitor's row to spiderGrid, counts it in the day's and the run's spiders, clears SpiderPending.
void AddSpider(LiveTables& t, VisitorRec& visitor, const Regional& regional);

// Sets the hidden flag of every row of the four view grids for CurrentView. `exception_number` gives the number of the
// exception type at a 1-based place of the type table, 0 for none, for a site that shows one type alone.
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

// Seconds from first to last hit as minutes, ":" and two-digit seconds; up to 60 seconds read "0:" and the seconds.
std::string MinutesOnSite(const VisitorRec& visitor);

// Text of a site in the tree: name and count, or name and " (Paused)".
std::string SiteNodeText(const SiteRec& site);

}  // namespace vantry
