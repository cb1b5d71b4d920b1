// The wizard for a new site: what it asks, what has to hold, and what becomes of the answers.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/tables.h"
#include "forms/form_field.h"
#include "ports/files.h"

namespace vantry {

struct NewSiteType {
  std::string_view caption;
  LogType type;
  std::string_view mask;  // Put into the mask's field when the type is chosen.
};
extern const std::span<const NewSiteType> kNewSiteTypes;

extern const std::span<const FormField<SiteRec>> kNewSiteFields;

// The pages, in their order. The one of the FTP test is passed over with local access.
enum NewSitePage { kWelcomePage, kDetailsPage, kTypePage, kMaskPage, kLocationPage, kFtpTestPage, kWebPage, kDonePage };
extern const std::span<const std::string_view> kNewSiteHeadings;

// What a site is before anybody has answered: a domain that begins, and the mask of the first type.
SiteRec NewSiteDraft();

// A folder for local access: what is wrong with it, if anything. `warning` is set when no file there matches the mask,
// which need not stay so. `has_files`: one was seen there a moment ago, so that a full folder need not be listed again.
std::optional<FormProblem> CheckNewFolder(const SiteRec& draft, bool has_files, Files& files, std::string& warning);
// The first thing that keeps the site from being added.
std::optional<FormProblem> CheckNewSite(const SiteRec& draft, const LiveTables& t);

// Adds the site, paused, with an alert that matches every visitor. Returns its number. Every reference into the tables
// is void afterwards.
int16_t AddNewSite(const SiteRec& draft, WallTime now, LiveTables& t);

}  // namespace vantry
