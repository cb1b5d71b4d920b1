// What is said of a log that is not there yet, and how often it is looked for.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

// Seconds between the ends of a site's scans and their successors. A log that is waited for comes soon or never, so
// that a site with a long period looks more often meanwhile.
inline int32_t ScanPeriod(const SiteRec& site) {
  constexpr int32_t kLookEvery = 60;
  return site.WaitsForLog ? std::min(site.Frequency, kLookEvery) : site.Frequency;
}

std::string NoFileFits(const SiteRec& site);
// Why the folder can't be looked into, though it is there; empty if it can.
std::string FolderTrouble(Files& files, const std::string& folder);

}  // namespace vantry
