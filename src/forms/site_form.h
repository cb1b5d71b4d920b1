// The site properties: what can be edited of a site, what has to hold, and what an edit does.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/tables.h"
#include "forms/form_field.h"
#include "ports/files.h"

namespace vantry {

extern const std::span<const FormField<SiteRec>> kSiteFields;

// The form log types, scan periods and so on have in lists, by their values.
extern const std::span<const Choice> kLogTypes;

// Cuts blanks off the texts, and one "/" off the domain's end; ends the folder in "/", and gives a site
// without a mask the usual one.
void TidySite(SiteRec& draft);

// The first thing that keeps this draft of site `number` from being stored, in the order in which people are told.
// `renaming` says that another name was agreed to.
std::optional<FormProblem> CheckSite(const SiteRec& draft, int16_t number, const LiveTables& t, Files& files,
                                     bool renaming);

// What the site file would not keep of this draft: the first of these fields, or the list of excluded addresses.
std::optional<FormProblem> CheckKept(const SiteRec& draft, std::span<const FormField<SiteRec>> fields);

// Writes the fields of the draft into the site. When its log comes from elsewhere now, the site starts anew: from byte
// 0, with the counters of its day at 0. Returns whether it does.
bool StoreSite(const SiteRec& draft, SiteRec& site);

// Puts the site at the beginning of its log.
void StartAnew(SiteRec& site);

// The entries of an exclude list, and the list of entries. Empty ones are left out.
std::vector<std::string> ExcludedAddresses(std::string_view exclude);
std::string ExcludeList(std::span<const std::string> addresses);

}  // namespace vantry
