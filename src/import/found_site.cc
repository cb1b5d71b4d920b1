#include "import/found_site.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

void AddName(FoundSite& site, const std::string& domain) {
  const bool known =
      site.domain == domain || std::find(site.others.begin(), site.others.end(), domain) != site.others.end();
  if (!known) site.others.push_back(domain);
}

}  // namespace

void AddFound(std::vector<FoundSite>& sites, FoundSite site) {
  const auto same = std::find_if(sites.begin(), sites.end(), [&](const FoundSite& other) {
    const bool log = other.log == site.log && (!site.log.empty() || other.domain == site.domain);
    return log && other.server == site.server && other.problem == site.problem && other.sample == site.sample;
  });
  if (same == sites.end()) {
    sites.push_back(std::move(site));
  } else {
    AddName(*same, site.domain);
  }
}

}  // namespace vantry
