#include "archive/archiver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>

#include "archive/archive_sites.h"
#include "archive/month_archive.h"
#include "archive/run_log.h"
#include "core/text.h"
#include "platform/single_instance.h"

namespace vantry {
namespace {

constexpr std::string_view kUsage = "Usage: vantry-archive [AUTO | --dry-run]\n";
constexpr std::string_view kHelp =
    "\n"
    "Packs old logs of web servers into zip files and removes them. Vantry starts it with the argument AUTO every day\n"
    "at AutoArchiveTime, if AutoArchive is True in SETTINGS.INI; you can start it yourself at any time.\n"
    "\n"
    "Which logs: those that fit the Mask in the Folder of a site with AutoArchive=True in VANTRY.INI, and were last\n"
    "written AutoArchiveDays (SETTINGS.INI; 60) days ago or earlier. These always stay: the log that a site reads "
    "now,\n"
    "logs changed in the last hour, logs that also a site without AutoArchive has, links, and all logs on FTP "
    "servers.\n"
    "\n"
    "Where to: FOLDER/Archive/SITE-YEAR-MONTH.zip, one for each month in which logs were last written. A log is "
    "removed\n"
    "only when its zip was written to the disk, read back and found to hold it. It needs room for the zip once more.\n"
    "\n"
    "  AUTO         no output but errors, and a low priority\n"
    "  --dry-run    tells what would be done and changes nothing\n"
    "  --help       this help\n"
    "  --version    the version\n"
    "\n"
    "  VANTRY_HOME  the folder with SETTINGS.INI and VANTRY.INI (the program's own folder). ARCHIVE.LOG there tells\n"
    "               what was done.\n"
    "\n"
    "It ends with 0 when all that was due is archived, 1 when something is not, 2 on wrong use, 3 when another "
    "archiver\n"
    "runs.\n";

struct Call {
  bool automatic = false, dry = false;
  int exit_code = -1;  // Not -1: nothing is to be done.
};

Call ReadCall(const ArchiverParts& parts, const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  Call call;
  for (const std::string& word : words) {
    if (word == "--help" || word == "-h") {
      out << kUsage << kHelp;
      call.exit_code = 0;
    } else if (word == "--version") {
      out << "vantry-archive " << parts.version << "\n";
      call.exit_code = 0;
    } else if (word == "--dry-run") {
      call.dry = true;
    } else if (EqualsNoCase(word, "AUTO")) {
      call.automatic = true;
    } else {
      err << "vantry-archive: '" << word << "' is not an argument.\n" << kUsage;
      call.exit_code = 2;
    }
    if (call.exit_code >= 0) break;
  }
  return call;
}

// Seconds since 1970 at the day that the program counts from.
constexpr int64_t k1970 = 25'569 * kSecondsPerDay;

class ArchiveRun {
 public:
  ArchiveRun(const ArchiverParts& parts, bool dry, RunLog& log) : parts_(parts), log_(log), dry_(dry) {}

  // False when nothing was or could be done.
  bool Prepare();
  void Sites();
  void TellEnd();
  // What AppArmor must allow, if that may be why this failed.
  std::string ConfinedAdvice(const Status& status, const std::string& folder) const;

 private:
  struct Month {
    std::vector<FolderFile> logs;
    int64_t bytes = 0;
  };

  WallTime Local(int64_t unix_s) const;
  bool MayArchive(const SiteRec& site, LogFolder& folder);
  void Site(const SiteRec& site);
  void Choose(const SiteRec& site, const LogFolder& folder, std::map<std::string, Month>& months);
  void TellStay(const SiteRec& site, const std::string& log, Verdict verdict);
  void Pack(const SiteRec& site, const LogFolder& folder, const std::string& zip, const Month& month);
  void TellPlan(const SiteRec& site, const LogFolder& folder, const std::map<std::string, Month>& months);

  const ArchiverParts& parts_;
  RunLog& log_;
  bool dry_;
  ArchiveConfig config_;
  ChoiceRules rules_;
  FileKeys taken_;  // By a site before: two may share a folder.
  size_t packed_ = 0, zips_ = 0, stayed_ = 0;
  int64_t packed_bytes_ = 0;
};

WallTime ArchiveRun::Local(int64_t unix_s) const {
  const UtcTime utc{unix_s + k1970};
  return {utc.s + parts_.clock.UtcOffsetAt(utc)};
}

bool ArchiveRun::Prepare() {
  const std::string settings = parts_.app_path + "SETTINGS.INI";
  if (const Status status = ReadArchiveConfig(parts_.files, parts_.app_path, config_); !status.ok()) {
    log_.Error(status.text);
    return false;
  }
  const int32_t days = config_.settings.AutoArchiveDays;
  if (const std::string problem = DaysProblem(days); !problem.empty()) {
    log_.Error(settings + ": " + problem + ". Nothing is archived");
    return false;
  }
  if (!config_.settings.AutoArchive) {
    log_.Line("AutoArchive is off in " + settings + (dry_ ? ": this is what it would do" : ": nothing is archived"));
    if (!dry_) return false;
  }
  rules_.days = days;
  rules_.now_s = parts_.clock.Now().s - parts_.clock.UtcOffset() - k1970;
  if (int64_t{days} * kSecondsPerDay > rules_.now_s - 631'152'000) {
    log_.Line(settings + ": AutoArchiveDays is " + std::to_string(days) +
              ", and no log of a web server is as old as that. Set fewer days");
  }
  for (const std::string& problem : ProtectLogs(parts_.files, config_.tables, rules_)) log_.Error(problem);
  return true;
}

void ArchiveRun::Sites() {
  bool any = false;
  for (const SiteRec& site : config_.tables.Sites) {
    if (!site.AutoArchive) continue;
    any = true;
    Site(site);
  }
  if (!any) log_.Line("No site has AutoArchive=True in " + parts_.app_path + "VANTRY.INI");
}

bool ArchiveRun::MayArchive(const SiteRec& site, LogFolder& folder) {
  const std::string name = "Site " + site.Name + ": ";
  if (site.FTP) {
    log_.Line(name + "its logs are on " + site.FTPDomain + " (FTP) and stay there");
    return false;
  }
  if (site.Folder.empty()) {
    log_.Error(name + "has no Folder in VANTRY.INI");
    return false;
  }
  if (const Status status = folder.Open(site.Folder); !status.ok()) {
    log_.Error(name + status.text + ". Set its Folder in VANTRY.INI, or AutoArchive=False");
    return false;
  }
  const auto& own = config_.own_folders;
  if (std::find(own.begin(), own.end(), folder.Key()) != own.end()) {
    log_.Error(name + site.Folder + " is a folder of Vantry itself. Keep the logs of the web server elsewhere");
    return false;
  }
  return true;
}

void ArchiveRun::Choose(const SiteRec& site, const LogFolder& folder, std::map<std::string, Month>& months) {
  std::vector<FolderFile> files;
  if (const Status status = folder.List(files); !status.ok()) log_.Error("Site " + site.Name + ": " + status.text);
  // The oldest first, as they are wanted again.
  std::sort(files.begin(), files.end(), [](const FolderFile& a, const FolderFile& b) {
    return std::pair(a.written_ns, a.name) < std::pair(b.written_ns, b.name);
  });
  const std::string mask = MaskOf(site);
  for (FolderFile& file : files) {
    const Verdict verdict = Judge(file, mask, rules_);
    if (dry_) TellStay(site, folder.Path() + file.name, verdict);
    if (verdict != Verdict::kGoes || !taken_.insert(KeyOf(file)).second) continue;
    Month& month = months[ZipName(site.Name, Local(FloorDiv(file.written_ns, 1'000'000'000)))];
    month.bytes += file.size_bytes;
    month.logs.push_back(std::move(file));
  }
}

// Of a dry run: why a log stays that is not just too young.
void ArchiveRun::TellStay(const SiteRec& site, const std::string& log, Verdict verdict) {
  std::string_view why;
  if (verdict == Verdict::kBeingRead) why = "a site reads it now";
  if (verdict == Verdict::kOfOthers) why = "it is also a log of a site without AutoArchive";
  if (verdict == Verdict::kNotPlain) why = "it is a link, a folder or a device";
  if (!why.empty()) log_.Line("Site " + site.Name + ": " + log + " stays: " + std::string(why));
}

// What to do about a folder in which nothing can be changed.
std::string FolderAdvice(const Status& status, const std::string& folder) {
  if (status.fail == Fail::kRefused) return "It goes on when that one is done";
  if (Contains(status.text, std::strerror(EROFS))) {
    return "Logs are packed and removed there. A service may write there with ReadWritePaths=" + folder +
           " in its unit (systemctl edit vantry)";
  }
  return "Logs are packed and removed there: give the user who runs Vantry the right to write in this folder";
}

std::string ArchiveRun::ConfinedAdvice(const Status& status, const std::string& folder) const {
  if (parts_.profile.empty() || !Contains(status.text, std::strerror(EACCES))) return {};
  return ". AppArmor confines it: where the rights are as they should be, add the line \"" + folder +
         "** rwk,\" to /etc/apparmor.d/local/" + parts_.profile + " and run `systemctl reload apparmor`";
}

void ArchiveRun::Site(const SiteRec& site) {
  LogFolder folder;
  if (!MayArchive(site, folder)) return;
  std::map<std::string, Month> months;
  Choose(site, folder, months);
  if (dry_) return TellPlan(site, folder, months);
  if (months.empty()) return;
  Status status = folder.MayChange();
  if (status.ok()) status = folder.OpenArchives(parts_.disk);
  if (!status.ok()) {
    log_.Error("Site " + site.Name + ": " + status.text + ". " + FolderAdvice(status, folder.Path()) +
               ConfinedAdvice(status, folder.Path()));
    return;
  }
  for (const auto& [zip, month] : months) Pack(site, folder, zip, month);
}

void ArchiveRun::TellPlan(const SiteRec& site, const LogFolder& folder, const std::map<std::string, Month>& months) {
  const std::string name = "Site " + site.Name + ": ";
  for (const auto& [zip, month] : months) {
    for (const FolderFile& log : month.logs) {
      log_.Line(name + folder.Path() + log.name + " (" + SizeText(log.size_bytes) + ") would go to " + kArchiveFolder +
                "/" + zip);
    }
    packed_ += month.logs.size();
    packed_bytes_ += month.bytes;
    ++zips_;
  }
  if (months.empty()) log_.Line(name + "nothing is old enough in " + folder.Path());
  if (!months.empty() && !folder.MayChange().ok()) {
    const Status status = folder.MayChange();
    log_.Error(name + status.text + ". " + FolderAdvice(status, folder.Path()) + ConfinedAdvice(status, folder.Path()));
  }
}

// What to do about a zip that was not made.
std::string Advice(const Status& status, int64_t most_bytes) {
  if (status.fail == Fail::kBadData) return " If this zip is damaged, move it away and keep it for repair";
  if (status.fail == Fail::kRefused) return " It is not what was written: have the disk and the memory checked";
  for (const int error : {ENOSPC, EDQUOT, EFBIG}) {
    if (Contains(status.text, std::strerror(error))) {
      return " Needed is room for up to " + SizeText(most_bytes) + " on its disk";
    }
  }
  return "";
}

void ArchiveRun::Pack(const SiteRec& site, const LogFolder& folder, const std::string& zip, const Month& month) {
  const std::string name = "Site " + site.Name + ": ";
  const std::string path = folder.Path() + kArchiveFolder + "/" + zip;
  const MonthResult result = ArchiveMonth(parts_.disk, folder, zip, month.logs, [this](int64_t s) { return Local(s); });
  for (const std::string& text : result.stayed) log_.Line(name + folder.Path() + text + ": it stays for now");
  for (const std::string& text : result.failed) log_.Error(name + folder.Path() + text);
  stayed_ += month.logs.size() - result.gone.size();
  if (!result.status.ok()) {
    log_.Error(name + result.status.text + ". No log was removed." +
               Advice(result.status, month.bytes + result.zip_bytes) + ConfinedAdvice(result.status, folder.Path()));
    return;
  }
  for (const std::string& log : result.gone) log_.Line(name + folder.Path() + log + " is now in " + path);
  packed_ += result.gone.size();
  packed_bytes_ += result.log_bytes;
  zips_ += result.gone.empty() ? 0 : 1;
}

void ArchiveRun::TellEnd() {
  std::string text = dry_ ? "Nothing was changed: " : "Finished: ";
  text += Counted(packed_, "log") + " (" + SizeText(packed_bytes_) + ") " + (dry_ ? "would go" : "went") + " to " +
          Counted(zips_, "archive");
  if (stayed_ > 0) text += ", " + Counted(stayed_, "log") + " stayed";
  if (log_.Errors() > 0) text += ", " + Counted(static_cast<size_t>(log_.Errors()), "error");
  log_.Line(text);
}

}  // namespace

int RunArchiver(const ArchiverParts& parts, const std::vector<std::string>& words, std::ostream& out,
                std::ostream& err) {
  const Call call = ReadCall(parts, words, out, err);
  if (call.exit_code >= 0) return call.exit_code;
  std::ostream nowhere(nullptr);
  RunLog log(
      parts.files, call.dry ? "" : parts.app_path + "ARCHIVE.LOG", [&] { return parts.clock.Now(); },
      call.automatic && !call.dry ? nowhere : out, err);
  SingleInstance instance(parts.app_path + "archive.lock");
  if (!call.dry) {
    const Status status = instance.Acquire();
    if (status.fail == Fail::kRefused) {
      err << "vantry-archive: another archiver runs; nothing was done.\n";
      return 3;
    }
    if (!status.ok()) {
      err << "vantry-archive: " << status.text << ". VANTRY_HOME must name a folder that can be written.\n";
      return 1;
    }
  }
  ArchiveRun run(parts, call.dry, log);
  if (run.Prepare()) {
    run.Sites();
    run.TellEnd();
  }
  return log.Errors() > 0 ? 1 : 0;
}

}  // namespace vantry
