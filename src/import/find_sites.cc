#include "import/find_sites.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "core/text.h"
#include "import/apache.h"
#include "import/caddy.h"
#include "import/iis.h"
#include "import/nginx.h"

namespace vantry {
namespace {

constexpr size_t kMostNameBytes = 4096, kMostDisks = 100;

std::string MachineName(const ConfigTree& tree) {
  std::string bytes;
  if (!tree.Read("/etc/hostname", kMostNameBytes, bytes).ok()) return "localhost";
  const std::string_view line = Trim(Split(bytes, '\n').front());
  return line.empty() || line.find_first_of(" \t\r/") != std::string_view::npos ? "localhost" : std::string(line);
}

constexpr const char* kNginxFiles[] = {"/etc/nginx/nginx.conf", "/usr/local/etc/nginx/nginx.conf",
                                       "/usr/local/nginx/conf/nginx.conf"};

// The first file of each folder that is there: a second one is left over.
void FindApache(const ConfigTree& tree, const std::string& machine, FoundSites& found) {
  const bool debian =
      FindApacheSites(tree, {"/etc/apache2/apache2.conf", "/etc/apache2", "/etc/apache2/envvars"}, machine, found);
  if (!debian) FindApacheSites(tree, {"/etc/apache2/httpd.conf", "/srv/www", {}}, machine, found);
  for (const auto& [file, root] : {std::pair("/etc/httpd/conf/httpd.conf", "/etc/httpd"),
                                   std::pair("/usr/local/apache2/conf/httpd.conf", "/usr/local/apache2"),
                                   std::pair("/usr/local/etc/apache24/httpd.conf", "/usr/local")}) {
    FindApacheSites(tree, {file, root, {}}, machine, found);
  }
}

// The Caddyfile, or else what Caddy was told in JSON.
void FindCaddy(const ConfigTree& tree, const std::string& machine, FoundSites& found) {
  for (const char* file : {"/etc/caddy/Caddyfile", "/usr/local/etc/caddy/Caddyfile"}) {
    if (FindCaddyfileSites(tree, file, machine, found)) return;
  }
  for (const char* file : {"/etc/caddy/caddy.json", "/etc/caddy/config.json",
                           "/var/lib/caddy/.config/caddy/autosave.json", "/root/.config/caddy/autosave.json"}) {
    if (FindCaddyJsonSites(tree, file, machine, found)) return;
  }
}

// A log with a domain that another log has too is told by another of its names, if it has one of its own.
void ShareDomains(std::vector<FoundSite>& sites) {
  std::map<std::string, int> logs;
  for (const FoundSite& site : sites) ++logs[Lower(site.domain)];
  for (FoundSite& site : sites) {
    if (logs[Lower(site.domain)] < 2) continue;
    const auto own = std::find_if(site.others.begin(), site.others.end(),
                                  [&](const std::string& other) { return logs.count(Lower(other)) == 0; });
    if (own == site.others.end()) continue;
    --logs[Lower(site.domain)];
    std::swap(site.domain, *own);
    ++logs[Lower(site.domain)];
  }
}

}  // namespace

FoundSites FindSites(const ConfigTree& tree) {
  FoundSites found;
  const std::string machine = MachineName(tree);
  for (const char* file : kNginxFiles) FindNginxSites(tree, file, machine, found);
  FindApache(tree, machine, found);
  FindCaddy(tree, machine, found);
  FindIisSites(tree, "/", found);
  for (const char* disks : {"/mnt/*", "/media/*", "/media/*/*"}) {
    for (const std::string& disk : PathsOf(tree, disks, kMostDisks)) FindIisSites(tree, disk, found);
  }
  ShareDomains(found.sites);
  return found;
}

}  // namespace vantry
