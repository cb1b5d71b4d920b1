// What a web server's configuration tells of one access log.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/tables.h"

namespace vantry {

struct FoundSite {
  std::string server;                    // "nginx"
  std::string domain;                    // Of the first site that writes the log.
  std::vector<std::string> others = {};  // Of the others that write it.
  std::string log = {};                  // A full path as the server knows it; empty when there is none.
  std::string mask = {};                 // Of the logs in the folder that `log` names then.
  std::string format = {};               // What its configuration calls it, for people.
  std::optional<LogType> type = {};      // If the server has a format of ours by name.
  std::string sample = {};               // A line as the server would write it; empty when that can't be told.
  std::string where = {};                // The file and line that says so: "/etc/nginx/nginx.conf:41".
  std::string problem = {};              // Why no log can be read, as far as the configuration tells.
  std::string advice = {};               // What to write, and where, for a log that can be read.
  std::vector<std::string> notes = {};   // What else to know.
};

// Adds the site. One that writes a log which another one of the list writes in the same format joins that one.
void AddFound(std::vector<FoundSite>& sites, FoundSite site);

struct FoundSites {
  std::vector<FoundSite> sites;
  std::vector<std::string> problems;  // "FILE:LINE: text"; what was left out for it.
};

}  // namespace vantry
