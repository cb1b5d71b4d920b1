#include "config/site_edits.h"

#include <algorithm>
#include <unordered_map>

#include "config/site_file.h"
#include "core/text.h"

namespace vantry {
namespace {

// The numbers of the sites that are not deleted, by name; of a name the first.
class Names {
 public:
  explicit Names(const LiveTables& t) {
    for (int16_t n = 1; n <= t.SiteCount(); ++n) {
      if (!t.Site(n).Deleted) numbers_.emplace(t.Site(n).Name, n);
    }
  }
  // 0 for none.
  int16_t Find(const std::string& name) const {
    const auto it = numbers_.find(name);
    return it == numbers_.end() ? int16_t{0} : it->second;
  }

 private:
  std::unordered_map<std::string, int16_t> numbers_;
};

// Puts the alerts of another table's site in the place of this one's. What was counted today stays with an alert of the
// same number and name.
void ReplaceAlerts(const LiveTables& from, int16_t from_site, LiveTables& to, int16_t to_site) {
  std::vector<AlertRec> alerts;
  for (const AlertRec& alert : from.Alerts) {
    if (alert.Site != from_site) continue;
    AlertRec& copy = alerts.emplace_back(alert);
    copy.Site = to_site;
    for (const AlertRec& old : to.Alerts) {
      const bool same = old.Site == to_site && old.AlertNo == copy.AlertNo && old.Name == copy.Name;
      if (same) copy.AlertHits = old.AlertHits;
    }
  }
  to.Site(to_site).AlertDefinitions = static_cast<int16_t>(alerts.size());
  std::erase_if(to.Alerts, [&](const AlertRec& alert) { return alert.Site == to_site; });
  const auto place = std::find_if(to.Alerts.begin(), to.Alerts.end(), [&](const auto& a) { return a.Site > to_site; });
  to.Alerts.insert(place, alerts.begin(), alerts.end());
}

void ChangeSite(const LiveTables& before, int16_t b, const LiveTables& after, int16_t a, LiveTables& t, int16_t n) {
  SiteRec& site = t.Site(n);
  const SiteRec &was = before.Site(b), &is = after.Site(a);
  if (was.Folder != is.Folder || was.Mask != is.Mask || was.SelectMethod != is.SelectMethod) site.ForceLookup = true;
  if (was.Type != is.Type) site.FieldsKnown = false;
  // A pause by sleep never reaches the file, so one that is written now was put there.
  if (was.Paused != is.Paused) site.Sleeping = false;
  TakeOverFields(was, is, site);
  if (FormatAlertsOf(before, b) != FormatAlertsOf(after, a)) ReplaceAlerts(after, a, t, n);
}

void AddSite(const LiveTables& after, int16_t a, WallTime now, LiveTables& t) {
  t.Sites.push_back(after.Site(a));
  BeginLastSite(now, t);
  ReplaceAlerts(after, a, t, t.SiteCount());
}

}  // namespace

// Pages find no site without a domain, so that one of another name may have it now.
void DeleteSite(LiveTables& t, int16_t n) {
  SiteRec& site = t.Site(n);
  site.Deleted = site.Paused = true;
  site.Sleeping = site.WebAccess = false;
  site.Domain.clear();
}

void BeginLastSite(WallTime now, LiveTables& t) {
  SiteRec& site = t.Sites.back();
  site.Stored = static_cast<const ReadState&>(site);
  site.LastScanTime.s = now.s - site.Frequency;
  site.LastLookupTime = site.ExLastLowCheck = site.ExLastHighCheck = now;
  site.ForceLookup = true;
  site.TouchCheckTime.s = now.s + 60 * t.SiteCount();
  if (Trim(site.Mask).empty()) site.Mask = "*.LOG";
}

std::optional<ReadProblem> TakeOverSites(std::string_view before, std::string_view after, const Regional& regional,
                                         WallTime now, LiveTables& tables) {
  LiveTables was, is;
  if (auto problem = ParseSites(after, regional, is)) return problem;
  if (auto problem = LostLastLine(after)) return problem;
  (void)ParseSites(before, regional, was);  // Up to a mistake that was told when it was read.
  const Names old_names(was), new_names(is), own_names(tables);
  for (int16_t a = 1; a <= is.SiteCount(); ++a) {
    const std::string& name = is.Site(a).Name;
    if (new_names.Find(name) != a) continue;
    const int16_t b = old_names.Find(name), n = own_names.Find(name);
    if (b > 0 && n > 0) {
      ChangeSite(was, b, is, a, tables, n);
    } else if (n == 0) {
      AddSite(is, a, now, tables);
    }
  }
  for (const SiteRec& site : was.Sites) {
    const int16_t n = own_names.Find(site.Name);
    if (n > 0 && new_names.Find(site.Name) == 0) DeleteSite(tables, n);
  }
  return std::nullopt;
}

}  // namespace vantry
