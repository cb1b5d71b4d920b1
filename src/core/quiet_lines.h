// Which lines act on nobody, as they tell of what happened while the program did not run, and which are read first.
#pragma once

#include "core/tables.h"

namespace vantry {

// A line counts as written before the start when it is at least this much older.
inline constexpr int64_t kBeforeStartSeconds = 2;

// Whether the line that is being processed lies before the start of the program in a log that it reads for the first
// time. False outside a scan.
inline bool IsQuietLine(const LiveTables& t, const SiteRec& site) {
  return t.Corrected.QuietFirstScan && site.ReadFromStart && site.Scanning &&
         site.LastReadDateTime.s + kBeforeStartSeconds <= t.Started.s;
}

// Whether no scan of this run has read the site's log to its end yet. Classic scans count even if there was no log.
inline bool IsFirstReading(const LiveTables& t, const SiteRec& site) {
  return t.Corrected.QuietReplay ? !site.ReadOnce : site.ScanCount == 1;
}

}  // namespace vantry
