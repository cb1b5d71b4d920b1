// Adds a site to the site file of a program that does not run.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "core/corrections.h"
#include "core/regional.h"
#include "core/status.h"
#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

// Where a site's log lies and how it is read.
struct LogPlace {
  std::string folder;  // Ends in "/".
  std::string mask;
  FileChoice choice = FileChoice::kByDate;
  LogType type = LogType::kW3C;
  bool unix_lines = false;
  bool recognised = false;    // The type was told from the log, not given.
  std::string remote = {};    // The address of a log on another machine, in place of folder and mask; empty for none.
  std::string password = {};  // For a remote log whose address has none.
};

// Looks at an absolute path: a log file, or a folder whose newest log (names that begin with "." do not count) stands
// for all. `forced` is taken in place of what the log looks like. Fails with a text that names the file and its first
// line when the type can't be told.
// `quoted_fields`: see RecogniseLog.
Status FindLog(Files& files, const std::string& path, std::optional<LogType> forced, LogPlace& place,
               bool quoted_fields = false);

// Adds the site to the tables. kRefused for a name or domain that is empty, unfit or taken. Every reference into the
// tables is void afterwards.
Status AddSiteTo(LiveTables& tables, const std::string& name, const std::string& domain, const LogPlace& place);

// The folder of a program, and how its files are read and written.
struct ProgramFolder {
  std::string home;  // Ends in "/".
  Regional regional = {};
  Corrections corrected = {};
};

// Adds sites to VANTRY.INI in a folder whose lock the caller holds. The file is written once: it is as it was, or has
// all of them.
class SitesToAdd {
 public:
  SitesToAdd(Files& files, ProgramFolder folder) : files_(files), folder_(std::move(folder)) {}

  // Reads the sites that are there. kRefused if the file can't be read in full, as writing would lose the rest.
  Status Read();
  // See AddSiteTo.
  Status Add(const std::string& name, const std::string& domain, const LogPlace& place);
  Status Write();

 private:
  Files& files_;
  ProgramFolder folder_;
  LiveTables tables_;
};

// A mask that fits this file name, and hardly any other: what can't stand in a mask becomes "?".
std::string MaskForName(std::string_view name);

}  // namespace vantry
