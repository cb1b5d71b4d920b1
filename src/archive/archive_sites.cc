#include "archive/archive_sites.h"

#include "config/registry_store.h"
#include "config/settings_file.h"
#include "config/site_file.h"
#include "config/value_forms.h"
#include "core/regional.h"
#include "core/text.h"
#include "core/wildcard.h"
#include "logs/newest_log.h"

namespace vantry {
namespace {

Status Unreadable(const std::string& path, const ReadProblem& problem) {
  return Status::Error(Fail::kBadData, path + " line " + std::to_string(problem.line) + ": " + problem.text +
                                           ". Nothing is archived until this line is mended");
}

// The last line of these files does not count, and nobody knows what it was meant to say.
Status CheckLastLine(const std::string& path, std::string_view bytes) {
  const auto lost = LostLastLine(bytes);
  if (!lost) return Status::Ok();
  return Status::Error(Fail::kBadData, path + " line " + std::to_string(lost->line) + ": " + lost->text +
                                           ". Nothing is archived until an empty line ends the file");
}

// A stamp is written in the form of the program's locale, which need not be ours, and plays no part here.
std::string WithoutStamps(std::string_view bytes) {
  std::string out;
  for (const std::string_view line : TextLines(bytes)) {
    const auto pair = SplitKeyValue(Trim(line));
    const bool stamp = pair && (pair->key == "LASTTIME" || pair->key == "LASTREADDATETIME");
    if (!stamp) out.append(line);
    out += "\n";
  }
  return out;
}

Status ReadSettings(Files& files, const std::string& app_path, Settings& settings) {
  const std::string path = app_path + "SETTINGS.INI";
  std::string bytes;
  const Status status = files.Read(path, bytes);
  if (status.fail == Fail::kNotFound) return Status::Ok();
  if (!status.ok()) return status;
  if (const auto problem = ParseSettings(bytes, settings)) return Unreadable(path, *problem);
  return CheckLastLine(path, bytes);
}

Status ReadSites(Files& files, const std::string& app_path, LiveTables& tables) {
  const std::string path = app_path + "VANTRY.INI";
  std::string bytes;
  const Status status = files.Read(path, bytes);
  if (status.fail == Fail::kNotFound) return Status::Ok();
  if (!status.ok()) return status;
  if (const auto problem = ParseSites(WithoutStamps(bytes), Regional{}, tables)) return Unreadable(path, *problem);
  return CheckLastLine(path, bytes);
}

FileKey KeyOf(const FileEntry& entry) {
  return {entry.device, entry.inode};
}

// What the site reads now, and what it has not read to its end.
void ProtectCurrent(Files& files, const SiteRec& site, const std::vector<FileEntry>& entries, FileKeys& being_read) {
  if (const auto newest = NewestLog(entries, MaskOf(site), site.SelectMethod)) being_read.insert(KeyOf(*newest));
  FileLook look;
  if (!site.LastLogFile.empty() && files.Look(site.LastLogFile, look).ok()) {
    being_read.insert({look.device, look.inode});
  }
  if (site.LastFile.Inode != 0) being_read.insert({site.LastFile.Device, site.LastFile.Inode});
  for (const LeftLog& left : site.LeftLogs) {
    if (!left.Done) being_read.insert({left.File.Device, left.File.Inode});
  }
}

}  // namespace

std::string MaskOf(const SiteRec& site) {
  return Trim(site.Mask).empty() ? "*.LOG" : site.Mask;
}

Status ReadArchiveConfig(Files& files, const std::string& app_path, ArchiveConfig& config) {
  RegistryFile registry(files, app_path + "registry.ini");
  const std::string data_folder = ReadRegistryValue(registry, "Settings", "DDFPath", app_path + "Data/");
  config.settings.DDFPath = data_folder;
  if (Status status = ReadSettings(files, app_path, config.settings); !status.ok()) return status;
  for (const std::string& folder : {app_path, data_folder, config.settings.DDFPath}) {
    FileLook look;
    if (!folder.empty() && files.Look(folder, look).ok()) config.own_folders.emplace_back(look.device, look.inode);
  }
  return ReadSites(files, app_path, config.tables);
}

std::string DaysProblem(int32_t days) {
  if (days >= 1 && days <= 32'767) return "";
  return "AutoArchiveDays is " + std::to_string(days) +
         ", or not a number, and no age. Set the days after which logs are archived, from 1 to 32767";
}

std::vector<std::string> ProtectLogs(Files& files, const LiveTables& tables, ChoiceRules& rules) {
  std::vector<std::string> problems;
  for (const SiteRec& site : tables.Sites) {
    if (site.FTP || site.Folder.empty()) continue;
    std::vector<FileEntry> entries;
    const Status status = files.List(site.Folder, entries);
    // A folder that is not there holds nothing that could go. One with AutoArchive is told of when its turn comes.
    if (!status.ok() && status.fail != Fail::kNotFound && !site.AutoArchive) {
      problems.push_back("Site " + site.Name + ": " + status.text +
                         ". Its logs can't be told from those of other sites; make its folder readable");
    }
    ProtectCurrent(files, site, entries, rules.being_read);
    if (site.AutoArchive) continue;
    for (const FileEntry& entry : entries) {
      if (FitsFileMask(entry.name, MaskOf(site))) rules.of_others.insert(KeyOf(entry));
    }
  }
  return problems;
}

}  // namespace vantry
