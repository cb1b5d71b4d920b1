#include "forms/alert_form.h"

#include <algorithm>
#include <utility>

#include "config/site_file.h"
#include "core/text.h"
#include "forms/kept_fields.h"

namespace vantry {
namespace {

using A = AlertRec;
using K = FieldKind;

constexpr std::string_view kAlertItself = "General", kActions = "Actions";

const FormField<AlertRec> kAlertRows[] = {
    Edits<&A::Name>("Name", {kAlertItself, "txtName", "&Name:"}),
    Edits<&A::Enabled>("Enabled", {kAlertItself, "chkEnabled", "Ena&bled", K::kCheck}),

    Edits<&A::Sound>("Sound", {kActions, "chkSound", "Play A &Sound:", K::kCheck}),
    Edits<&A::SoundFile>("SoundFile", {kActions, "txtAlertSound", "Sound &File:"}),
    Edits<&A::Email>("Email", {kActions, "chkEmail", "Send An &Email", K::kCheck}),
    Edits<&A::EmailAddress>("EmailAddress", {kActions, "txtEmailAddress", "Email &Address:"}),
    Edits<&A::Message>("Message", {kActions, "txtMessage", "&Message:"}),
    Edits<&A::RunThis>("RunThis", {kActions, "chkRun", "&Run A Program Or Script", K::kCheck}),
    Edits<&A::Run>("Run", {kActions, "txtEXE", "&Program Or Script:"}),
};

struct AlertList {
  std::string_view control;
  std::vector<std::string> AlertRec::*entries;
};
constexpr AlertList kAlertLists[] = {{"gridDNS", &AlertRec::DNS},
                                     {"gridWORDS", &AlertRec::Word},
                                     {"gridPAGES", &AlertRec::Page},
                                     {"listRef", &AlertRec::Engine}};

std::optional<FormProblem> CheckAlertKept(const AlertRec& draft) {
  LiveTables written, read;
  written.Sites.emplace_back().Name = "Site";
  written.Alerts.push_back(draft);
  written.Alerts.back().Site = 1;
  const Regional regional;
  (void)ParseSites(FormatSites(regional, written), regional, read);
  if (read.Alerts.size() != 1) return FormProblem{"txtName", "The site file can't keep this alert."};
  if (auto problem = FirstLost(kAlertFields, draft, read.Alerts[0], "site file")) return problem;
  for (const AlertList& list : kAlertLists) {
    if (draft.*list.entries == read.Alerts[0].*list.entries) continue;
    return FormProblem{list.control,
                       "The site file can't keep one of these entries. Leave out line ends, and referring sites whose "
                       "text has one letter."};
  }
  return std::nullopt;
}

}  // namespace

const std::span<const FormField<AlertRec>> kAlertFields = kAlertRows;

std::vector<size_t> AlertsOf(const LiveTables& t, int16_t site) {
  std::vector<size_t> places;
  for (size_t i = 0; i < t.Alerts.size(); ++i) {
    if (t.Alerts[i].Site == site) places.push_back(i);
  }
  return places;
}

AlertRec NewAlert(const LiveTables& t, int16_t site) {
  AlertRec alert;
  for (const size_t place : AlertsOf(t, site)) alert.AlertNo = std::max(alert.AlertNo, t.Alerts[place].AlertNo);
  alert.AlertNo = static_cast<int16_t>(std::min<int>(alert.AlertNo + 1, INT16_MAX));
  alert.Site = site;
  alert.Name = "Alert " + std::to_string(alert.AlertNo);
  alert.Enabled = true;
  return alert;
}

std::optional<size_t> PlaceOfAlert(const LiveTables& t, const AlertRec& alert) {
  for (const size_t place : AlertsOf(t, alert.Site)) {
    if (t.Alerts[place].AlertNo == alert.AlertNo && t.Alerts[place].Name == alert.Name) return place;
  }
  return std::nullopt;
}

void AppendAlert(LiveTables& t, AlertRec alert) {
  const auto places = AlertsOf(t, alert.Site);
  const auto same = [&](size_t place) { return t.Alerts[place].AlertNo == alert.AlertNo; };
  if (std::any_of(places.begin(), places.end(), same)) alert.AlertNo = NewAlert(t, alert.Site).AlertNo;
  t.Alerts.push_back(std::move(alert));
  ++t.Site(t.Alerts.back().Site).AlertDefinitions;
}

void DeleteAlert(LiveTables& t, size_t place) {
  --t.Site(t.Alerts[place].Site).AlertDefinitions;
  t.Alerts.erase(t.Alerts.begin() + static_cast<ptrdiff_t>(place));
}

std::optional<FormProblem> CheckAlert(const AlertRec& draft, Files& files) {
  if (Trim(draft.Name).empty()) return FormProblem{"txtName", "An Alert must have a name."};
  if (draft.Sound && !files.Exists(draft.SoundFile)) return FormProblem{"txtAlertSound", "Sound File Does Not Exist"};
  if (draft.RunThis && !files.Exists(draft.Run)) return FormProblem{"txtEXE", "EXE or Script File Does Not Exist"};
  return CheckAlertKept(draft);
}

void TidyAlert(AlertRec& draft) {
  TrimTexts(kAlertFields, draft);
}

std::vector<std::string> AlertEntries(std::span<const std::string> typed) {
  std::vector<std::string> entries;
  for (const std::string& text : typed) {
    if (entries.size() == AlertRec::kMaxEntries) break;
    if (!Trim(text).empty()) entries.push_back(Lower(Trim(text)));
  }
  return entries;
}

void ChooseEngines(std::span<const size_t> rows, const std::vector<SearchEngine>& engines, AlertRec& alert) {
  alert.Engine.clear();
  alert.EngineAll = std::find(rows.begin(), rows.end(), size_t{0}) != rows.end();
  if (alert.EngineAll) return;
  for (const size_t row : rows) {
    if (row <= engines.size() && alert.Engine.size() < AlertRec::kMaxEntries) {
      alert.Engine.push_back(engines[row - 1].match);
    }
  }
}

std::vector<size_t> ChosenEngines(const AlertRec& alert, const std::vector<SearchEngine>& engines) {
  std::vector<size_t> rows;
  if (alert.EngineAll) rows.push_back(0);
  for (size_t i = 0; i < engines.size(); ++i) {
    if (std::find(alert.Engine.begin(), alert.Engine.end(), engines[i].match) != alert.Engine.end()) {
      rows.push_back(i + 1);
    }
  }
  return rows;
}

}  // namespace vantry
