// Changes that vantryctl asks for while the program runs.
#include <utility>

#include "app/engine.h"
#include "forms/edits.h"

namespace vantry {
namespace {

Status Refused(std::string text) {
  return Status::Error(Fail::kRefused, std::move(text));
}

std::string RefusedText(const std::string& text) {
  return "ERROR " + text;
}

}  // namespace

// Whoever can put the file there can as well edit the program's own files: that is the login. It is gone before its
// change is made, so nothing is ever done twice, and as long as it is there nothing was done.
std::string Engine::TakeEdit(std::string_view token) {
  if (!IsToken(token)) return RefusedText("That is not the name of a request");
  if (t_.Closing || t_.ScanInProgress) return "BUSY A scan is under way";
  const std::string path = options_.app_path + kRequestFile + std::string(token);
  FileIdentity identity;
  std::string bytes;
  Status status = files_.Identify(path, identity);
  if (status.ok() && identity.size_bytes > static_cast<int64_t>(kMostRequestBytes)) {
    status = Status::Error(Fail::kBadData, path + " is too large");
  }
  if (status.ok()) status = files_.Read(path, bytes);
  EditRequest request;
  if (status.ok()) status = ParseRequest(bytes, request);
  if (!status.ok()) return RefusedText(status.text);
  const int16_t site = IsOfSites(request.verb) ? FindSite(t_, request.name) : int16_t{0};
  if (site > 0 && t_.Site(site).Fetching) return "BUSY The site's log is being fetched";
  status = files_.Remove(path);
  std::string told;
  if (status.ok()) status = Attempt([&] { return CarryOut(request, told); });
  if (!status.ok()) return RefusedText(status.text);
  log_.WriteProgramLog("vantryctl: " + told, false);
  return "OK " + told;
}

// All or nothing: what can't be written does not hold either.
Status Engine::CarryOut(const EditRequest& request, std::string& told) {
  TakeOverEdits(true);
  const bool of_sites = IsOfSites(request.verb);
  if (of_sites && edits_ && edits_->SitesRefused())
    return Refused(SiteFile() + " holds a mistake. Put that right first.");
  if (Status status = of_sites ? Status::Ok() : CheckSettingsFile(request.verb); !status.ok()) return status;
  const std::vector<SiteRec> sites = t_.Sites;
  const std::vector<AlertRec> alerts = t_.Alerts;
  const Settings settings = settings_;
  const int16_t view = t_.CurrentView;
  Status status = ApplyEdit(request, {t_, settings_, files_, ports_.clock.Now()}, told);
  if (status.ok() && of_sites) {
    KeepAsleep([&] { status = WriteSiteFile(); });
  } else if (status.ok()) {
    status = files_.Replace(SettingsPath(request.verb, options_.app_path), FormatSettingsOf(request.verb, settings_));
  }
  if (status.ok()) {
    SettingsChanged();
    return status;
  }
  t_.Sites = sites;
  t_.Alerts = alerts;
  t_.CurrentView = view;
  settings_ = settings;
  return status;
}

// The file is written as the program holds it: what somebody else wrote there since would be lost, and what a dialog
// has put into the tables and not saved yet would be saved along.
Status Engine::CheckSettingsFile(EditVerb verb) {
  const std::string path = SettingsPath(verb, options_.app_path);
  if (!files_.Exists(path)) return Status::Ok();
  Settings read;
  if (Status status = ReadSettingsOf(verb, files_, options_.app_path, read); !status.ok()) return status;
  read.DDFPath = settings_.DDFPath;
  if (FormatSettingsOf(verb, read) == FormatSettingsOf(verb, settings_)) return Status::Ok();
  return Refused(path +
                 " is not as Vantry holds it: it was edited, or options are not saved yet. Start Vantry anew, or "
                 "save the options, and try again.");
}

}  // namespace vantry
