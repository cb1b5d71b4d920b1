// The alerts of a site: what can be edited of one, what has to hold, and their order.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "config/settings.h"
#include "core/tables.h"
#include "forms/form_field.h"
#include "ports/files.h"

namespace vantry {

extern const std::span<const FormField<AlertRec>> kAlertFields;

// The places of a site's alerts in the table, in their order.
std::vector<size_t> AlertsOf(const LiveTables& t, int16_t site);

// An enabled alert with the site's next number, and a name made of it. It is not in the table yet.
AlertRec NewAlert(const LiveTables& t, int16_t site);
// With the next number if there is one of its number already.
void AppendAlert(LiveTables& t, AlertRec alert);
// Where the alert of this site, number and name is now: others may have come or gone since it was seen.
std::optional<size_t> PlaceOfAlert(const LiveTables& t, const AlertRec& alert);
void DeleteAlert(LiveTables& t, size_t place);

// Cuts blanks off the texts.
void TidyAlert(AlertRec& draft);
std::optional<FormProblem> CheckAlert(const AlertRec& draft, Files& files);

// The entries of one of an alert's lists: in lower case, without empty ones, as many as an alert can have.
std::vector<std::string> AlertEntries(std::span<const std::string> typed);

// `rows` are places of the list of referrers: 0 is "[Anywhere]", n the n-th search engine. What an alert keeps of an
// engine is the text that is looked for.
void ChooseEngines(std::span<const size_t> rows, const std::vector<SearchEngine>& engines, AlertRec& alert);
std::vector<size_t> ChosenEngines(const AlertRec& alert, const std::vector<SearchEngine>& engines);

}  // namespace vantry
