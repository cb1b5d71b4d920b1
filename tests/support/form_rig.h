// Two sites whose logs are there, for what is edited of them.
#pragma once

#include <string>

#include "core/tables.h"
#include "support/memory_files.h"

namespace vantry {

struct FormRig {
  MemoryFiles files;
  LiveTables t;

  FormRig() {
    files.Put("/logs/access.log", "");
    files.fails = [](const std::string& call) { return call == "list /nowhere/"; };
    for (const char* name : {"One", "Two"}) {
      SiteRec& site = t.Sites.emplace_back();
      site.Name = name;
      site.Domain = std::string("www.") + name + ".example";
      site.Folder = "/logs/";
      site.Mask = "*.log";
      site.TouchEvery = 5;
    }
  }
};

}  // namespace vantry
