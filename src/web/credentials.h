// Whom a name and a password let in, and to what.
#pragma once

#include <string>
#include <string_view>

#include "config/settings.h"
#include "core/tables.h"

namespace vantry {

// As a form had them. Without DecodeForms the name is in capitals and trimmed, the password in capitals.
struct Credentials {
  std::string user, password;
};

// Compares in a time that tells nothing of where the texts differ.
bool SameSecret(std::string_view a, std::string_view b);

// Whether these are the site's own name and password.
bool OpensSite(const LiveTables& t, const SiteRec& site, const Credentials& given);

enum class Reach { kNothing, kOneUser, kAllSites };
Reach WhatOpens(const LiveTables& t, const Settings& settings, const Credentials& given);

}  // namespace vantry
