// Whom to ask whose an address or a name is, and what for.
#pragma once

#include <string>
#include <string_view>

#include "ports/key_store.h"

namespace vantry {

// From the section "WhoIs" of the registry store.
struct WhoIsServers {
  std::string general;   // Of the root: names without a dot.
  std::string registry;  // Of COM, NET, ORG and BIZ.
  std::string uk, gov, mil;
  std::string regional;  // Of addresses and of all other zones.
  std::string rdap;      // Where the same is asked by RDAP, "/" at its end; empty: nowhere.
};
WhoIsServers ReadWhoIsServers(KeyStore& store);

bool IsNumericAddress(std::string_view text);

// The name or address in a subject: what follows a "?" does not belong to it, nor does a site.
std::string WhoIsName(std::string_view subject);
// Whether the name may go to a server as it is: no blanks, nothing that it would take for an option.
bool CanBeAsked(std::string_view name);

// The server for a name or address.
const std::string& Internic(std::string_view name, const WhoIsServers& servers);
// What it is asked for: the last two labels of a name whose last one has three letters, else the last three. A name
// with fewer and an address stay whole.
std::string CutName(std::string_view name);
// The page that has the answer by RDAP; empty if there is none.
std::string RdapAddress(std::string_view name, const WhoIsServers& servers);

}  // namespace vantry
