// Tells of a log that a configuration names whether the program can read it, and how.
#pragma once

#include <string>
#include <vector>

#include "core/date_time.h"
#include "core/status.h"
#include "core/tables.h"
#include "import/config_tree.h"
#include "import/found_site.h"
#include "ports/files.h"
#include "setup/add_site.h"

namespace vantry {

struct JudgedSite {
  FoundSite found;
  bool readable = false;
  std::string why = {};    // Not readable.
  LogPlace place = {};     // Readable: where the log is on this machine, and how it is read.
  std::string there = {};  // The name of the site that reads the log, or has the domain, already.
  bool same_log = false;   // That one reads the log.
};

// Asks the format, then the log's first line, which is right where the two differ. What else there is to say is added
// to the notes. `quoted_fields`: see RecogniseLog.
JudgedSite Judge(const ConfigTree& tree, Files& files, FoundSite found, bool quoted_fields);

// What there is to say of a site beside its row in a list: why its log can't be read and what to do, and what else to
// know. Lines of plain text, any bytes; none for a site that is as it should be.
std::vector<std::string> LinesAbout(const JudgedSite& site);

// The name a site gets: its domain without what the site file can't keep in a name.
std::string NameFor(const FoundSite& found);

// Adds a readable site to the tables of a running program, where it is due at once. See AddSiteTo.
Status AddFoundSite(const JudgedSite& site, WallTime now, LiveTables& tables);

// Notes which of them there are already.
void FindThoseThere(const std::vector<SiteRec>& sites, std::vector<JudgedSite>& judged);

}  // namespace vantry
