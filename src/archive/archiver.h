// The program vantry-archive: packs old logs of the sites that want it into zips, and removes them.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "archive/disk.h"
#include "ports/clock.h"
#include "ports/files.h"

namespace vantry {

struct ArchiverParts {
  Files& files;
  const Clock& clock;
  const Disk& disk;
  std::string app_path;  // With "/" at its end.
  std::string version;
  std::string profile = {};  // That of AppArmor which confines it, if one does.
};

// Does what `words`, the arguments after the program's name, ask for. Returns the exit code: 0 when all that was due is
// archived, 1 when something is not, 2 on wrong use, 3 when another archiver runs.
int RunArchiver(const ArchiverParts& parts, const std::vector<std::string>& words, std::ostream& out,
                std::ostream& err);

}  // namespace vantry
