#include "forms/edits.h"

#include <algorithm>
#include <optional>

#include "config/exception_types.h"
#include "config/settings_file.h"
#include "config/site_edits.h"
#include "config/value_forms.h"
#include "core/text.h"
#include "forms/alert_form.h"
#include "forms/settings_form.h"
#include "forms/site_form.h"

namespace vantry {
namespace {

Status Refuse(std::string text) {
  return Status::Error(Fail::kRefused, std::move(text));
}

std::string QuotedName(std::string_view name) {
  return "'" + std::string(name) + "'";
}

// With the key of the field that has to be changed.
template <class Rec>
Status RefuseFor(const FormProblem& problem, const FieldList<Rec>& fields) {
  std::string text = problem.text;
  for (const FormField<Rec>* field : fields) {
    if (field->look.control == problem.control) {
      text = std::string(field->key) + ": " + problem.text;
      break;
    }
  }
  if (problem.asks) text += " If so, add --yes.";
  return Refuse(std::move(text));
}

template <class Rec>
Status SetAll(const FieldList<Rec>& fields, const std::vector<NamedValue>& values, Rec& record) {
  for (const NamedValue& named : values) {
    if (std::string wrong = SetNamed(fields, named, record); !wrong.empty()) return Refuse(std::move(wrong));
  }
  return Status::Ok();
}

// A site that was stopped by hand goes on as if it had been looked at a minute ago.
void StorePause(bool paused, WallTime now, SiteRec& site) {
  if (site.Paused == paused) return;
  site.Paused = paused;
  site.Sleeping = false;
  if (!paused) site.LastCheckTime.s = site.LastScanTime.s = now.s - 60;
}

Status SetSite(const EditRequest& request, const EditTarget& c, std::string& told) {
  const int16_t n = FindSite(c.t, request.name);
  if (n == 0) return Refuse(NoSuchSite(c.t, request.name));
  const FieldList<SiteRec> fields = NamedSiteFields();
  SiteRec draft = c.t.Site(n);
  if (Status status = SetAll(fields, request.values, draft); !status.ok()) return status;
  TidySite(draft);
  if (const auto problem = CheckSite(draft, n, c.t, c.files, request.yes)) return RefuseFor(*problem, fields);
  SiteRec& site = c.t.Site(n);
  const bool anew = StoreSite(draft, site);
  StorePause(draft.Paused, c.now, site);
  told = "Changed the site " + QuotedName(site.Name) + ".";
  if (anew) told += " Its log is read from the beginning.";
  return Status::Ok();
}

Status RemoveSite(const EditRequest& request, const EditTarget& c, std::string& told) {
  const int16_t n = FindSite(c.t, request.name);
  if (n == 0) return Refuse(NoSuchSite(c.t, request.name));
  DeleteSite(c.t, n);
  if (c.t.CurrentView == n) c.t.CurrentView = 0;
  told = "Removed the site " + QuotedName(c.t.Site(n).Name) + ". Its history stays.";
  return Status::Ok();
}

Status Set(const EditRequest& request, const EditTarget& c, std::string& told) {
  const FieldList<Settings> fields = NamedSettings();
  Settings draft = c.settings;
  if (Status status = SetAll(fields, request.values, draft); !status.ok()) return status;
  TidySettings(draft);
  if (const auto problem = CheckSettings(draft, c.files)) return RefuseFor(*problem, fields);
  const bool other_port = draft.WebAccessPort != c.settings.WebAccessPort;
  StoreSettings(draft, c.settings);
  c.settings.EmailDailyReport = draft.EmailDailyReport;
  told = "Changed the settings.";
  if (other_port) told += " The port counts from the next start.";
  return Status::Ok();
}

Status SetException(const EditRequest& request, const EditTarget& c, std::string& told) {
  ExceptionType* type = FindExceptionType(c.settings, request.name);
  if (!type) return Refuse("There is no exception type " + QuotedName(request.name) + ".");
  const FieldList<ExceptionType> fields = NamedExceptionFields();
  ExceptionType draft = *type;
  if (Status status = SetAll(fields, request.values, draft); !status.ok()) return status;
  TidyExceptionType(draft);
  if (const auto problem = CheckExceptionType(draft, c.files)) return RefuseFor(*problem, fields);
  LiveTables no_sites;
  if (Status status = RefreshexceptionConstants({draft}, no_sites); !status.ok()) return status;
  *type = draft;
  told = "Changed the exception type " + std::to_string(draft.Number) + ": " + ShownDescription(draft);
  return Status::Ok();
}

// An alert looks for the text of a search engine; people know its name.
Status ResolveEngines(const std::vector<SearchEngine>& engines, AlertRec& draft) {
  for (std::string& entry : draft.Engine) {
    const auto found = std::find_if(engines.begin(), engines.end(), [&](const SearchEngine& engine) {
      return IsKey(engine.name, entry) || engine.match == entry;
    });
    if (found == engines.end()) return Refuse("Engine: There is no referring site " + QuotedName(entry) + ".");
    entry = found->match;
  }
  return Status::Ok();
}

Status CheckEntries(const std::vector<NamedValue>& values) {
  const FieldList<AlertRec> fields = NamedAlertFields();
  for (const NamedValue& named : values) {
    const FormField<AlertRec>* field = FindNamed(fields, named.key);
    const bool is_list = field && field->look.kind == FieldKind::kText && field->look.control.find("grid") == 0;
    if (is_list && ExcludedAddresses(named.value).size() > AlertRec::kMaxEntries) {
      return Refuse(std::string(field->key) + ": An alert takes " + std::to_string(AlertRec::kMaxEntries) +
                    " entries of a kind at most.");
    }
  }
  return Status::Ok();
}

std::optional<size_t> FindAlert(const LiveTables& t, int16_t site, std::string_view number) {
  const std::vector<size_t> places = AlertsOf(t, site);
  const auto place = ParseLong(number);
  if (!place || *place < 1 || static_cast<size_t>(*place) > places.size()) return std::nullopt;
  return places[static_cast<size_t>(*place - 1)];
}

Status NoSuchAlert(const EditRequest& request) {
  return Refuse("The site " + QuotedName(request.name) + " has no alert " + QuotedName(request.number) +
                "; `vantryctl alerts` lists them.");
}

// The values as they go to the alert, after all that keeps them from it.
Status DraftAlert(const EditRequest& request, const EditTarget& c, AlertRec& draft) {
  const FieldList<AlertRec> fields = NamedAlertFields();
  if (Status status = CheckEntries(request.values); !status.ok()) return status;
  if (Status status = SetAll(fields, request.values, draft); !status.ok()) return status;
  const auto is_engine = [](const NamedValue& named) { return IsKey("Engine", named.key); };
  if (std::any_of(request.values.begin(), request.values.end(), is_engine)) {
    if (Status status = ResolveEngines(c.settings.SearchEngines, draft); !status.ok()) return status;
  }
  if (draft.EngineAll) draft.Engine.clear();
  TidyAlert(draft);
  if (const auto problem = CheckAlert(draft, c.files)) return RefuseFor(*problem, fields);
  return Status::Ok();
}

Status SetAlert(const EditRequest& request, const EditTarget& c, std::string& told) {
  const int16_t n = FindSite(c.t, request.name);
  if (n == 0) return Refuse(NoSuchSite(c.t, request.name));
  const auto place = FindAlert(c.t, n, request.number);
  if (!place && !IsKey("new", request.number)) return NoSuchAlert(request);
  AlertRec draft = place ? c.t.Alerts[*place] : NewAlert(c.t, n);
  if (Status status = DraftAlert(request, c, draft); !status.ok()) return status;
  if (place) {
    c.t.Alerts[*place] = draft;
  } else {
    AppendAlert(c.t, draft);
  }
  told = (place ? "Changed the alert " : "Added the alert ") + QuotedName(draft.Name) + ".";
  return Status::Ok();
}

Status RemoveAlert(const EditRequest& request, const EditTarget& c, std::string& told) {
  const int16_t n = FindSite(c.t, request.name);
  if (n == 0) return Refuse(NoSuchSite(c.t, request.name));
  const auto place = FindAlert(c.t, n, request.number);
  if (!place) return NoSuchAlert(request);
  told = "Removed the alert " + QuotedName(c.t.Alerts[*place].Name) + ".";
  DeleteAlert(c.t, *place);
  return Status::Ok();
}

}  // namespace

bool IsOfSites(EditVerb verb) {
  return verb != EditVerb::kSet && verb != EditVerb::kSetException;
}

int16_t FindSite(const LiveTables& t, std::string_view name) {
  int16_t alike = 0;
  int count = 0;
  for (int16_t n = 1; n <= t.SiteCount(); ++n) {
    const SiteRec& site = t.Site(n);
    if (site.Deleted) continue;
    if (site.Name == name) return n;
    if (!IsKey(Trim(site.Name), name)) continue;
    alike = n;
    ++count;
  }
  return count == 1 ? alike : int16_t{0};
}

std::string NoSuchSite(const LiveTables& t, std::string_view name) {
  std::vector<std::string_view> names;
  for (const SiteRec& site : t.Sites) {
    if (!site.Deleted) names.emplace_back(site.Name);
  }
  const std::string_view nearest = NearestName(name, names);
  return "There is no site " + QuotedName(name) +
         (nearest.empty() ? "." : "; did you mean " + QuotedName(nearest) + "?");
}

ExceptionType* FindExceptionType(Settings& settings, std::string_view number) {
  const auto wanted = ParseLong(number);
  for (ExceptionType& type : settings.ExceptionTypes) {
    if (wanted && type.Number == *wanted) return &type;
  }
  return nullptr;
}

std::string SettingsPath(EditVerb verb, const std::string& app_path) {
  return app_path + (verb == EditVerb::kSet ? "SETTINGS.INI" : "EXTYPES.INI");
}

std::string FormatSettingsOf(EditVerb verb, const Settings& settings) {
  return verb == EditVerb::kSet ? FormatSettings(settings) : FormatExTypes(settings.ExceptionTypes);
}

Status ReadSettingsOf(EditVerb verb, Files& files, const std::string& app_path, Settings& settings) {
  const bool is_types = verb != EditVerb::kSet;
  const std::string path = SettingsPath(verb, app_path);
  std::string bytes;
  const Status status = files.Read(path, bytes);
  const bool absent = status.fail == Fail::kNotFound;
  if (!status.ok() && !absent) return status;
  if (absent && is_types) AddDefaultExTypes(settings.ExceptionTypes);
  std::optional<ReadProblem> problem;
  if (!absent) problem = is_types ? ReadExTypes(bytes, settings.ExceptionTypes) : ParseSettings(bytes, settings);
  if (!problem && !absent) problem = LostLastLine(bytes);
  if (settings.Extension.empty()) settings.Extension = Settings::DefaultExtensions();
  if (!problem) return Status::Ok();
  return Status::Error(Fail::kBadData, path + " line " + std::to_string(problem->line) + ": " + problem->text +
                                           ". Put that right first.");
}

Status ApplyEdit(const EditRequest& request, const EditTarget& target, std::string& told) {
  switch (request.verb) {
    case EditVerb::kSetSite:
      return SetSite(request, target, told);
    case EditVerb::kRemoveSite:
      return RemoveSite(request, target, told);
    case EditVerb::kSetException:
      return SetException(request, target, told);
    case EditVerb::kSetAlert:
      return SetAlert(request, target, told);
    case EditVerb::kRemoveAlert:
      return RemoveAlert(request, target, told);
    default:
      return Set(request, target, told);
  }
}

}  // namespace vantry
