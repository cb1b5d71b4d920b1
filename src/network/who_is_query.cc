#include "network/who_is_query.h"

#include <algorithm>
#include <array>
#include <vector>

#include "config/registry_store.h"
#include "core/text.h"
#include "network/subject.h"

namespace vantry {
namespace {

struct ServerRow {
  const char* name;
  std::string WhoIsServers::*server;
  const char* fallback;
};

// The root knows every registry and refers to it.
constexpr ServerRow kServerRows[] = {{"General", &WhoIsServers::general, "whois.iana.org"},
                                     {"Registry", &WhoIsServers::registry, "whois.iana.org"},
                                     {"UK", &WhoIsServers::uk, "whois.nic.uk"},
                                     {"GOV", &WhoIsServers::gov, "whois.nic.gov"},
                                     {"MIL", &WhoIsServers::mil, "whois.iana.org"},
                                     {"Regional", &WhoIsServers::regional, "whois.iana.org"},
                                     {"RdapServer", &WhoIsServers::rdap, "https://rdap.org/"}};

struct ZoneRow {
  std::string_view zone;
  std::string WhoIsServers::*server;
};

constexpr ZoneRow kZones[] = {{"COM", &WhoIsServers::registry}, {"NET", &WhoIsServers::registry},
                              {"ORG", &WhoIsServers::registry}, {"BIZ", &WhoIsServers::registry},
                              {"UK", &WhoIsServers::uk},        {"GOV", &WhoIsServers::gov},
                              {"MIL", &WhoIsServers::mil}};

std::string_view LastLabel(std::string_view name) {
  return name.substr(name.rfind('.') + 1);
}

bool IsByte(std::string_view text) {
  return !text.empty() && text.size() <= 3 && std::all_of(text.begin(), text.end(), IsDigit) &&
         LeadingNumber(text) <= 255;
}

bool IsNameCharacter(char c) {
  const char lower = LowerAscii(c);
  return IsDigit(c) || (lower >= 'a' && lower <= 'z') || c == '.' || c == '-' || c == '_' || c == ':';
}

}  // namespace

WhoIsServers ReadWhoIsServers(KeyStore& store) {
  WhoIsServers servers;
  for (const ServerRow& row : kServerRows) {
    servers.*row.server = Trim(ReadRegistryValue(store, "WhoIs", row.name, row.fallback));
  }
  return servers;
}

bool IsNumericAddress(std::string_view text) {
  if (Contains(text, ":")) return true;
  const std::vector<std::string_view> parts = Split(text, '.');
  return parts.size() == 4 && std::all_of(parts.begin(), parts.end(), IsByte);
}

std::string WhoIsName(std::string_view subject) {
  std::string name = ReadSubject(subject.substr(0, subject.find('?'))).host;
  while (!name.empty() && name.back() == '.') name.pop_back();
  return std::string(Trim(name));
}

bool CanBeAsked(std::string_view name) {
  return !name.empty() && name.size() <= 253 && name.front() != '-' &&
         std::all_of(name.begin(), name.end(), IsNameCharacter);
}

const std::string& Internic(std::string_view name, const WhoIsServers& servers) {
  if (IsNumericAddress(name)) return servers.regional;
  if (!Contains(name, ".")) return servers.general;
  const std::string last = Upper(LastLabel(name));
  const auto row = std::find_if(std::begin(kZones), std::end(kZones), [&](const ZoneRow& r) { return r.zone == last; });
  return row == std::end(kZones) ? servers.regional : servers.*row->server;
}

std::string CutName(std::string_view name) {
  if (IsNumericAddress(name)) return std::string(name);
  size_t labels = LastLabel(name).size() == 3 ? 2 : 3;
  size_t at = name.size();
  while (labels > 0 && at != 0 && at != name.npos) {
    at = name.rfind('.', at - 1);
    --labels;
  }
  return std::string(at == name.npos || at == 0 ? name : name.substr(at + 1));
}

std::string RdapAddress(std::string_view name, const WhoIsServers& servers) {
  if (servers.rdap.empty()) return {};
  const bool is_address = IsNumericAddress(name);
  if (!is_address && !Contains(name, ".")) return {};
  return servers.rdap + (is_address ? "ip/" : "domain/") + std::string(name);
}

}  // namespace vantry
