// What holds of everything that is found in a web server's configuration, however it is written.
#pragma once

#include <cstdlib>

#include "import/config_reader.h"
#include "import/found_site.h"
#include "import/sample_line.h"

namespace vantry {

inline void RequireSoundSites(const FoundSites& found) {
  const auto require = [](bool holds) {
    if (!holds) std::abort();
  };
  require(found.problems.size() <= 100);
  for (const FoundSite& site : found.sites) {
    require(!site.server.empty() && !site.domain.empty() && !site.where.empty());
    require(site.log.empty() || site.log.front() == '/');
    require(!site.log.empty() || !site.problem.empty());
    for (const bool quoted : {false, true}) {
      const FormatOpinion opinion = JudgeSample(site.sample, quoted);
      require(opinion.readable == opinion.why.empty());
    }
  }
}

}  // namespace vantry
