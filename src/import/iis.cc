#include "import/iis.h"

#include <algorithm>
#include <utility>

#include "core/text.h"
#include "core/wildcard.h"
#include "import/config_reader.h"

namespace vantry {
namespace {

struct IisMask {
  std::string_view mask;
  LogType type;
};
// By the servers' own names, the newer one first.
constexpr IisMask kMasks[] = {{"u_ex*.log", LogType::kW3C}, {"ex*.log", LogType::kW3C},    {"u_in*.log", LogType::kIIS},
                              {"in*.log", LogType::kIIS},   {"u_nc*.log", LogType::kNCSA}, {"nc*.log", LogType::kNCSA}};

constexpr const char* kFolders[] = {"", "inetpub/logs/LogFiles", "Windows/System32/LogFiles",
                                    "WINNT/System32/LogFiles"};
constexpr const char* kConfig = "Windows/System32/inetsrv/config/applicationHost.config";

// The path below `base` as it is written on the disk, where case does not count; empty if it is not there.
std::string FindNoCase(const ConfigTree& tree, const std::string& base, std::string_view path) {
  std::string whole = base == "/" ? "" : base;
  for (const std::string_view part : Split(path, '/')) {
    if (part.empty()) continue;
    const auto names = tree.Names(whole.empty() ? "/" : whole);
    const auto name = std::find_if(names.begin(), names.end(), [&](const auto& n) { return EqualsNoCase(n, part); });
    if (name == names.end()) return {};
    whole += "/" + *name;
  }
  return whole.empty() ? "/" : whole;
}

// "1" of "W3SVC1"; empty for any other name.
std::string NumberOf(std::string_view name) {
  constexpr std::string_view kFront = "W3SVC";
  const std::string_view number = name.substr(std::min(kFront.size(), name.size()));
  const bool fits = EqualsNoCase(name.substr(0, kFront.size()), kFront) && !number.empty() &&
                    std::all_of(number.begin(), number.end(), IsDigit);
  return fits ? std::string(number) : std::string();
}

// The value of an attribute of the element that begins the text.
std::string_view Attribute(std::string_view element, std::string_view name) {
  element = element.substr(0, element.find('>'));
  const std::string front = " " + std::string(name) + "=\"";
  const size_t at = element.find(front);
  if (at == std::string_view::npos) return {};
  element.remove_prefix(at + front.size());
  return element.substr(0, element.find('"'));
}

// The host of "*:80:www.example.org"; empty if it stands for any.
std::string_view HostOfBinding(std::string_view binding) {
  const size_t colon = binding.rfind(':');
  return colon == std::string_view::npos ? std::string_view() : binding.substr(colon + 1);
}

void TellFolder(const ConfigTree& tree, const std::string& folder, const std::string& domain, FoundSites& found) {
  const auto names = tree.Names(folder);
  for (const IisMask& row : kMasks) {
    if (std::none_of(names.begin(), names.end(), [&](const auto& n) { return FitsFileMask(n, row.mask); })) continue;
    FoundSite site{.server = "IIS", .domain = domain};
    site.log = folder + "/";
    site.mask = row.mask;
    site.type = row.type;
    site.format = row.type == LogType::kW3C ? "W3C" : row.type == LogType::kIIS ? "IIS" : "NCSA";
    site.where = folder;
    AddFound(found.sites, std::move(site));
    return;
  }
}

}  // namespace

std::map<std::string, std::string> IisDomains(std::string_view xml) {
  std::map<std::string, std::string> domains;
  constexpr std::string_view kSite = "<site ", kEnd = "</site>", kBinding = "<binding ";
  for (size_t at = xml.find(kSite); at != std::string_view::npos; at = xml.find(kSite)) {
    xml.remove_prefix(at);
    std::string_view site = xml.substr(0, std::min(xml.find(kEnd), xml.find(kSite, 1)));
    const std::string number(Attribute(site, "id"));
    std::string_view domain = Attribute(site, "name");
    xml.remove_prefix(kSite.size());
    for (size_t next = site.find(kBinding); next != std::string_view::npos; next = site.find(kBinding)) {
      site.remove_prefix(next);
      const std::string_view host = HostOfBinding(Attribute(site, "bindingInformation"));
      site.remove_prefix(kBinding.size());
      if (host.empty() || Contains(host, "*")) continue;
      domain = host;
      break;
    }
    if (!number.empty() && !domain.empty()) domains.emplace(number, domain);
  }
  return domains;
}

void FindIisSites(const ConfigTree& tree, const std::string& disk, FoundSites& found) {
  std::map<std::string, std::string> domains;
  bool asked = false;
  for (const char* folder : kFolders) {
    const std::string logs = FindNoCase(tree, disk, folder);
    if (logs.empty()) continue;
    for (const std::string& name : tree.Names(logs)) {
      const std::string number = NumberOf(name);
      if (number.empty()) continue;
      std::string config;
      if (!std::exchange(asked, true)) {
        const std::string path = FindNoCase(tree, disk, kConfig);
        if (!path.empty() && tree.Read(path, ConfigReader::kMostFileBytes, config).ok()) domains = IisDomains(config);
      }
      const auto domain = domains.find(number);
      TellFolder(tree, (logs == "/" ? "" : logs) + "/" + name, domain == domains.end() ? name : domain->second, found);
    }
  }
}

}  // namespace vantry
