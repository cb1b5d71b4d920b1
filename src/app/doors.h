// Who may look and who may steer: the section `Security` of registry.ini, read so that damage closes.
#pragma once

#include <string>
#include <vector>

#include "config/registry_store.h"
#include "config/settings.h"
#include "core/corrections.h"
#include "web/web_server.h"

namespace vantry {

// Reads the section. When anything in it, or in the file around it, can't be understood, nobody may steer, only this
// machine may look, and texts of logs are escaped; `problems` then gets what is wrong. See decision 0025.
WebSecurity ReadSecurity(RegistryFile& registry, std::vector<std::string>& problems);

// One line for people: who may look, who may steer, and from where.
std::string DescribeDoors(const WebSecurity& security, const Settings& settings);

// What an empty name of the administrator means; empty when there is a name, or when no login is asked for.
std::string EmptyLoginWarning(const Settings& settings, const Corrections& corrected = {});

}  // namespace vantry
