// VANTRY.INI: every monitored site with its alert definitions and the place its log reading has reached.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "config/value_forms.h"
#include "core/regional.h"
#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

// Adds the sites and alerts in these bytes to the tables. On a problem what was read up to that line stays.
std::optional<ReadProblem> ParseSites(std::string_view bytes, const Regional& regional, LiveTables& tables);

// The file's bytes for the tables, with dates in the machine's form or, corrected, as yyyy-MM-dd; deleted sites and
// their alerts are left out, and a site that is paused by its sleep period alone is written (and set) as not paused.
std::string FormatSites(const Regional& regional, LiveTables& tables);

// Copies to `site` every saved field in which `after` differs from `before`, but for the reading state.
void TakeOverFields(const SiteRec& before, const SiteRec& after, SiteRec& site);

// The alert blocks of a site as they would be written, were they the first of the file.
std::string FormatAlertsOf(const LiveTables& tables, int16_t site);

// Reads VANTRY.INI from the program folder. A missing file leaves the tables empty and is no failure. kBadData when the
// file was read up to a line only: what was read stays, and the text names file and line. kIo when it could not be
// opened.
Status ReadINI(Files& files, const std::string& app_path, const Regional& regional, LiveTables& tables);

// Writes VANTRY.INI as a whole, or removes it when no site is left to write.
Status WriteINI(Files& files, const std::string& app_path, const Regional& regional, LiveTables& tables);

// Appends an alert of this site to the alert table: number 1, enabled, everything else empty.
void AddAlertDefinition(LiveTables& tables, int16_t site, std::string_view name);

}  // namespace vantry
