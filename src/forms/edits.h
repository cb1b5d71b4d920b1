// Changes that somebody asks for by name, carried out in the tables: with the checks of the dialogs, and what their OK
// does there. Writing the file is the caller's business.
#pragma once

#include <string>

#include "config/settings.h"
#include "core/tables.h"
#include "forms/edit_request.h"
#include "ports/files.h"

namespace vantry {

struct EditTarget {
  LiveTables& t;
  Settings& settings;
  Files& files;  // For the checks alone.
  WallTime now;
};

// Whether the change goes into the site file; else it goes into those of the settings.
bool IsOfSites(EditVerb verb);

// The number of the site with this name, 0 if there is none. Case counts only if several differ by it alone.
int16_t FindSite(const LiveTables& t, std::string_view name);
// What to say if there is none.
std::string NoSuchSite(const LiveTables& t, std::string_view name);
// The type with this number, given as a text. Null if there is none.
ExceptionType* FindExceptionType(Settings& settings, std::string_view number);

// The file that a change of the settings (not IsOfSites) goes into, its path, and its bytes for these settings.
std::string SettingsPath(EditVerb verb, const std::string& app_path);
std::string FormatSettingsOf(EditVerb verb, const Settings& settings);
// Reads this file into the settings, which hold the defaults; it may be absent. Fails with path and line if the next
// start would not read all of it.
Status ReadSettingsOf(EditVerb verb, Files& files, const std::string& app_path, Settings& settings);

// Carries out the change, or leaves the tables as they were and says why not. `told` says what was done.
Status ApplyEdit(const EditRequest& request, const EditTarget& target, std::string& told);

}  // namespace vantry
