#include "ctl/edit_lists.h"

#include <iostream>

#include "config/registry_store.h"
#include "config/site_file.h"
#include "config/value_forms.h"
#include "core/screen_text.h"
#include "forms/alert_form.h"
#include "forms/edits.h"
#include "forms/settings_form.h"
#include "logs/formats.h"
#include "platform/regional_locale.h"
#include "setup/terminal.h"

namespace vantry {
namespace {

Status Missing(std::string_view text) {
  return Status::Error(Fail::kNotFound, Printable(text));
}

void Print(const TextTable& table) {
  for (const std::string& line : FormatTable(table, ReadScreen().width)) std::cout << line << "\n";
}

template <class Rec>
void PrintFields(const FieldList<Rec>& fields, const Rec& record) {
  for (const FormField<Rec>* field : fields) {
    std::string text = ValueText(field->look, field->get(record));
    if (field->look.kind == FieldKind::kPassword && !text.empty()) text = "********";
    std::cout << field->key << "=" << Printable(text) << "\n";
  }
}

std::string Place(const SiteRec& site) {
  return site.FTP ? site.FTPDomain + " " + WithSeparator(site.FTPPath) + site.Mask : site.Folder + site.Mask;
}

std::string TypeName(const SiteRec& site) {
  const auto n = static_cast<size_t>(site.Type);
  return n < Formats().size() ? std::string(FormatOf(site.Type).name) : std::to_string(static_cast<int>(site.Type));
}

void PrintSites(const LiveTables& t) {
  TextTable table{{{"Site", false, 8},
                   {"Domain", false, 8},
                   {"State"},
                   {"Type", false, 8},
                   {"Log", false, 8},
                   {"Seconds", true},
                   {"Alerts", true}},
                  {}};
  for (const SiteRec& site : t.Sites) {
    table.rows.push_back({site.Name, site.Domain, site.Paused ? "paused" : "watched", TypeName(site), Place(site),
                          std::to_string(site.Frequency), std::to_string(site.AlertDefinitions)});
  }
  if (table.rows.empty()) {
    std::cout << "There is no site.\n";
  } else {
    Print(table);
  }
}

void PrintAlerts(const LiveTables& t, int16_t site) {
  TextTable table{{{"No", true}, {"Enabled"}, {"Name", false, 8}}, {}};
  for (const size_t place : AlertsOf(t, site)) {
    const AlertRec& alert = t.Alerts[place];
    table.rows.push_back({std::to_string(table.rows.size() + 1), alert.Enabled ? "Yes" : "No", alert.Name});
  }
  if (table.rows.empty()) {
    std::cout << "The site has no alert.\n";
  } else {
    Print(table);
  }
}

void PrintExceptions(const Settings& settings) {
  const auto yes = [](bool on) { return std::string(on ? "Yes" : ""); };
  TextTable table{{{"Number", true}, {"Raise"}, {"Email"}, {"SMS"}, {"Event Log"}, {"Description", false, 8}}, {}};
  for (const ExceptionType& type : settings.ExceptionTypes) {
    table.rows.push_back({std::to_string(type.Number), yes(type.Raise), yes(type.Email), yes(type.SMS),
                          yes(type.EventLog), ShownDescription(type)});
  }
  Print(table);
}

Status ListSite(const LiveTables& t, CtlCommand command, const std::vector<std::string>& names) {
  const int16_t n = FindSite(t, names[0]);
  if (n == 0) return Missing(NoSuchSite(t, names[0]));
  if (command == CtlCommand::kSetSite) {
    PrintFields(NamedSiteFields(), t.Site(n));
    return Status::Ok();
  }
  if (command == CtlCommand::kAlerts) {
    PrintAlerts(t, n);
    return Status::Ok();
  }
  const std::vector<size_t> places = AlertsOf(t, n);
  const auto place = ParseLong(names[1]);
  if (!place || *place < 1 || static_cast<size_t>(*place) > places.size()) {
    return Missing("The site '" + names[0] + "' has no alert '" + names[1] + "'; `vantryctl alerts` lists them.");
  }
  PrintFields(NamedAlertFields(), t.Alerts[places[static_cast<size_t>(*place - 1)]]);
  return Status::Ok();
}

Status ListSettings(Files& files, const std::string& home, CtlCommand command, const std::vector<std::string>& names) {
  const bool types = command == CtlCommand::kExceptions || command == CtlCommand::kSetException;
  Settings settings;
  const Status read = ReadSettingsOf(types ? EditVerb::kSetException : EditVerb::kSet, files, home, settings);
  if (command == CtlCommand::kSetException) {
    const ExceptionType* type = FindExceptionType(settings, names[0]);
    if (!type) return read.ok() ? Missing("There is no exception type '" + names[0] + "'.") : read;
    PrintFields(NamedExceptionFields(), *type);
  } else if (types) {
    PrintExceptions(settings);
  } else {
    PrintFields(NamedSettings(), settings);
  }
  return read;
}

}  // namespace

Status ListOfFolder(Files& files, const std::string& home, CtlCommand command, const std::vector<std::string>& names) {
  const bool of_sites = command == CtlCommand::kSites || command == CtlCommand::kSetSite ||
                        command == CtlCommand::kAlerts || command == CtlCommand::kSetAlert;
  Status status;
  if (of_sites) {
    RegistryFile registry(files, home + "registry.ini");
    LiveTables tables;
    status = ReadINI(files, home, ReadRegional(registry), tables);
    if (command == CtlCommand::kSites) {
      PrintSites(tables);
    } else if (Status listed = ListSite(tables, command, names); !listed.ok()) {
      status = listed;
    }
  } else {
    status = ListSettings(files, home, command, names);
  }
  return status.ok() ? status : Status::Error(status.fail, Printable(status.text));
}

}  // namespace vantry
