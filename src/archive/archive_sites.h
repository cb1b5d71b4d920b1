// The settings and sites as the archiver needs them, and what no site's archive may touch.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "archive/log_choice.h"
#include "config/settings.h"
#include "core/status.h"
#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

struct ArchiveConfig {
  Settings settings;
  LiveTables tables;                 // The sites.
  std::vector<FileKey> own_folders;  // The program folder and the data folder: no logs of web servers.
};

// Reads SETTINGS.INI and VANTRY.INI of the program folder. Unlike the program, which goes on with what it could read,
// this fails on a line that can't be read: it may be the one that keeps logs from being archived.
Status ReadArchiveConfig(Files& files, const std::string& app_path, ArchiveConfig& config);

// Why these days are no age for a log; empty if they are.
std::string DaysProblem(int32_t days);

// Adds to `rules` the logs that must stay whatever their age: those that a site reads now, and those of sites without
// AutoArchive. Returns sentences on what could not be looked at.
std::vector<std::string> ProtectLogs(Files& files, const LiveTables& tables, ChoiceRules& rules);

// The site's mask as the program uses it.
std::string MaskOf(const SiteRec& site);

}  // namespace vantry
