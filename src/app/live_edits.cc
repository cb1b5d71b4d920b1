#include "app/live_edits.h"

#include "config/settings_file.h"
#include "config/site_edits.h"
#include "config/site_file.h"
#include "config/unread_guard.h"
#include "config/value_forms.h"

namespace vantry {
namespace {

std::string LineText(const ReadProblem& problem) {
  return " line " + std::to_string(problem.line) + ": " + problem.text;
}

// What a file that is being written, or was cut short, looks like is a mistake here: at the start it is not.
std::string Unfinished(std::string_view bytes) {
  if (bytes.empty()) return ": it is empty";
  const auto lost = LostLastLine(bytes);
  return lost ? LineText(*lost) + "; add an empty line" : std::string();
}

}  // namespace

void LiveEdits::BeginProgramFolder() {
  for (const char* name : {"SETTINGS.INI", "EXTYPES.INI", "VANTRY.INI"}) watch_.Remember(c_.app_path + name);
  if (!c_.files.Read(SitesPath(), sites_).ok()) sites_.clear();
}

void LiveEdits::BeginDataFolder() {
  for (const char* name : {kSearchEnginesFile, kCountriesFile}) watch_.Remember(c_.settings.DDFPath + name);
}

std::vector<LiveEdits::Row> LiveEdits::Rows() const {
  return {{c_.app_path + "SETTINGS.INI", &LiveEdits::TakeSettings},
          {c_.app_path + "EXTYPES.INI", &LiveEdits::TakeExceptionTypes},
          {SitesPath(), &LiveEdits::TakeSites},
          {c_.settings.DDFPath + kSearchEnginesFile, &LiveEdits::TakeEngines},
          {c_.settings.DDFPath + kCountriesFile, &LiveEdits::TakeCountries}};
}

std::string LiveEdits::TakeOver(bool at_once) {
  if (c_.t.Closing) return {};
  if (c_.t.ScanInProgress) return "a scan is under way; edits are taken over after it";
  std::string taken, refused;
  for (const Row& row : Rows()) {
    if (!watch_.Edited(row.path, at_once)) continue;
    watch_.Remember(row.path);
    std::string bytes;
    const Status status = c_.files.Read(row.path, bytes);
    const std::string mistake = status.ok() ? (this->*row.take)(bytes) : ": " + status.text;
    if (row.take == &LiveEdits::TakeSites) sites_refused_ = !mistake.empty();
    std::string& list = mistake.empty() ? taken : refused;
    list += (list.empty() ? "" : ", ") + row.path;
    if (mistake.empty()) continue;
    list += mistake;
    c_.tell(row.path + mistake + ". What was read before holds until this is put right.");
  }
  if (!taken.empty()) {
    c_.log.WriteProgramLog("Taken over: " + taken, false);
    c_.taken_over();
  }
  if (taken.empty() && refused.empty()) return "nothing was edited";
  return (taken.empty() ? "" : "taken over: " + taken) + (taken.empty() || refused.empty() ? "" : "; ") +
         (refused.empty() ? "" : "not taken over: " + refused);
}

std::string LiveEdits::TakeSettings(const std::string& bytes) {
  if (std::string mistake = Unfinished(bytes); !mistake.empty()) return mistake;
  Settings read;
  if (const auto problem = ParseSettings(bytes, read)) return LineText(*problem);
  Settings& now = c_.settings;
  if (read.Extension.empty()) read.Extension = Settings::DefaultExtensions();
  if (read.WebAccessPort != now.WebAccessPort) c_.tell("WebAccessPort was edited; it counts from the next start.");
  if (!read.DDFPath.empty() && WithSeparator(read.DDFPath) != WithSeparator(now.DDFPath)) {
    c_.tell("DDFPath was edited; it counts from the next start.");
  }
  read.WebAccessPort = now.WebAccessPort;
  read.DDFPath = now.DDFPath;
  read.SearchEngines = std::move(now.SearchEngines);
  read.ExceptionTypes = std::move(now.ExceptionTypes);
  now = std::move(read);
  return {};
}

std::string LiveEdits::TakeExceptionTypes(const std::string& bytes) {
  if (std::string mistake = Unfinished(bytes); !mistake.empty()) return mistake;
  std::vector<ExceptionType> types;
  if (const auto problem = ReadExTypes(bytes, types)) return LineText(*problem);
  c_.settings.ExceptionTypes = std::move(types);
  RefreshConstants();
  return {};
}

std::string LiveEdits::TakeSites(const std::string& bytes) {
  if (bytes.empty()) return Unfinished(bytes);
  if (const auto problem = TakeOverSites(sites_, bytes, c_.regional, c_.clock.Now(), c_.t)) return LineText(*problem);
  sites_ = bytes;
  RefreshConstants();
  return {};
}

std::string LiveEdits::TakeEngines(const std::string& bytes) {
  ParseSearchEngines(bytes, c_.settings);
  return {};
}

std::string LiveEdits::TakeCountries(const std::string& bytes) {
  c_.t.Countries.clear();
  ParseCountries(bytes, c_.t.Countries);
  return {};
}

void LiveEdits::RefreshConstants() {
  c_.log.Guard("Engine.RefreshexceptionConstants",
               [this] { return RefreshexceptionConstants(c_.settings.ExceptionTypes, c_.t); });
}

// What can't be taken over is kept beside the file, as it is at the start.
Status LiveEdits::MergeForWriting(LiveTables& tables) {
  std::string bytes;
  if (Status status = c_.files.Read(SitesPath(), bytes); !status.ok()) return status;
  std::string mistake = bytes.empty() ? Unfinished(bytes) : "";
  if (mistake.empty()) {
    const auto problem = TakeOverSites(sites_, bytes, c_.regional, c_.clock.Now(), tables);
    if (!problem) return Status::Ok();
    mistake = LineText(*problem);
  }
  const std::string copy = KeepCopy(c_.files, SitesPath(), bytes);
  if (copy.empty()) return Status::Error(Fail::kRefused, SitesPath() + mistake + ", and it can't be copied");
  c_.tell(SitesPath() + mistake + ". The file as it was is kept as " + copy + ".");
  return Status::Ok();
}

Status LiveEdits::WriteSites() {
  LiveTables copy;
  LiveTables* tables = &c_.t;
  const bool edited = SitesEdited();
  if (edited && !c_.t.Closing) {
    TakeOver(true);
    if (SitesEdited()) return Status::Ok();
  } else if (edited) {
    if (c_.t.ScanInProgress) {
      copy.Corrected = c_.t.Corrected;
      copy.Sites = c_.t.Sites;
      copy.Alerts = c_.t.Alerts;
      tables = &copy;
    }
    if (Status status = MergeForWriting(*tables); !status.ok()) return status;
  }
  const std::string bytes = FormatSites(c_.regional, *tables);
  if (bytes.empty()) return c_.files.Remove(SitesPath());
  if (bytes == sites_ && !edited && c_.files.Exists(SitesPath())) return Status::Ok();
  if (Status status = c_.files.Replace(SitesPath(), bytes); !status.ok()) return status;
  watch_.RememberWritten(SitesPath(), bytes);
  sites_ = bytes;
  return Status::Ok();
}

}  // namespace vantry
