#include "ctl/folder_commands.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "config/correction_switches.h"
#include "config/registry_store.h"
#include "config/settings_file.h"
#include "config/value_forms.h"
#include "core/text.h"
#include "ctl/add_site.h"
#include "ctl/remote_place.h"
#include "ctl/screen_text.h"
#include "ctl/service_commands.h"
#include "database/widen_tables.h"
#include "logs/formats.h"
#include "platform/folder_owner.h"
#include "platform/posix_data_files.h"
#include "platform/regional_locale.h"
#include "platform/single_instance.h"
#include "platform/system_clock.h"

namespace vantry {
namespace {

// `trouble` is what a program that runs would do.
Status Hold(SingleInstance& lock, const std::string& home, const std::string& trouble) {
  Status status = lock.Acquire();
  if (status.fail == Fail::kRefused) {
    status.text = "Vantry runs on " + Printable(home) + " and " + trouble + ". Stop it first: `vantryctl stop`.";
  }
  return status;
}

// A folder that has no registry.ini is new: it gets what suits a server of today. Any other is left as it is.
Status MakeRegistry(RegistryFile& registry) {
  constexpr std::pair<const char*, const char*> kSecurity[] = {
      {"BindAddress", "127.0.0.1"}, {"ControlFrom", "127.0.0.1"}, {"EscapeHTML", "True"}};
  Status status;
  for (const auto& [name, value] : kSecurity) {
    if (status.ok()) status = registry.Set("Security", name, value);
  }
  if (status.ok()) status = SetCorrection(registry, "All", "True");
  if (status.ok()) {
    std::cout << "Wrote registry.ini: only this machine may look and steer, texts of logs are escaped, and all\n"
                 "corrections are on (see `vantryctl corrections`).\n";
  }
  return status;
}

// What will be switched on in the folder once it has its registry.ini.
Corrections CorrectionsOf(RegistryFile& registry, bool is_new) {
  std::vector<std::string> problems;  // The program tells them at its start.
  if (!is_new) return ReadCorrections(registry, problems);
  Corrections all;
  for (const CorrectionRow& row : CorrectionRows()) row.Set(all, row.number ? row.standard : 1);
  return all;
}

// Nobody looks at the log here: the program that will watch it has the connection.
LogPlace RemotePlace(const CtlArguments& a) {
  const char* password = std::getenv("VANTRY_FTP_PASSWORD");
  LogPlace place;
  place.remote = a.operands[1];
  place.password = password ? password : "";
  place.type = a.type.value_or(LogType::kNCSA);
  place.unix_lines = place.type == LogType::kNCSA;
  return place;
}

// Without the login.
std::string ShownAddress(const LogPlace& place) {
  const size_t begin = place.remote.find("://") + 3;
  const size_t slash = std::min(place.remote.find('/', begin), place.remote.size());
  const size_t at = place.remote.rfind('@', slash);
  const bool login = at != std::string::npos && at > begin;
  return Printable(place.remote.substr(0, begin) + place.remote.substr(login ? at + 1 : begin));
}

Status AddSiteCommand(Files& files, const CtlArguments& a) {
  const std::string home = WithSeparator(AbsolutePath(a.operands[0]));
  RegistryFile registry(files, home + "registry.ini");
  std::string bytes;
  const bool is_new = files.Read(home + "registry.ini", bytes).fail == Fail::kNotFound;
  const Corrections corrected = CorrectionsOf(registry, is_new);
  LogPlace place;
  Status status;
  if (IsRemotePlace(a.operands[1])) {
    place = RemotePlace(a);
  } else {
    status = FindLog(files, AbsolutePath(a.operands[1]), a.type, place, corrected.NcsaFields);
  }
  if (status.ok()) status = files.MakeFolder(home);
  if (status.ok()) status = BecomeOwnerOf(home);
  if (!status.ok()) return status;
  std::cout << (place.recognised ? "Recognised " : "Taken for ") << FormatOf(place.type).name << ", "
            << (place.unix_lines ? "LF" : "CR LF") << " line ends\n";
  SingleInstance lock(home + "vantry.lock");
  status = Hold(lock, home, "would undo the change");
  const bool taken_over = status.fail == Fail::kRefused && !is_new && corrected.KeepEdits;
  if (!status.ok() && !taken_over) return status;
  status = is_new ? MakeRegistry(registry) : Status::Ok();
  if (status.ok()) status = AddSite(files, {home, ReadRegional(registry), corrected}, a.name, a.domain, place);
  if (status.ok()) {
    std::cout << "Added " << Printable(Trim(a.name)) << " (" << Printable(Trim(a.domain))
              << "): " << (place.remote.empty() ? Printable(place.folder) + Printable(place.mask) : ShownAddress(place))
              << "\n";
    if (taken_over) std::cout << "The running Vantry takes it over within 10 seconds.\n";
  }
  return status;
}

Status CorrectionsCommand(Files& files, std::vector<std::string> operands) {
  std::string named, home;
  if (!operands.empty() && !Contains(operands[0], "=")) {
    named = operands[0];
    operands.erase(operands.begin());
  }
  Status status = FolderOf(named, home);
  if (status.ok() && !operands.empty()) status = BecomeOwnerOf(home);
  RegistryFile registry(files, home + "registry.ini");
  for (const std::string& operand : operands) {
    const size_t mark = operand.find('=');
    if (status.ok() && mark == std::string::npos) {
      status = Status::Error(Fail::kBadData, "'" + Printable(operand) + "' is not KEY=VALUE.");
    }
    if (status.ok()) status = SetCorrection(registry, operand.substr(0, mark), operand.substr(mark + 1));
  }
  if (!status.ok()) return status;
  std::vector<std::string> problems;
  const Corrections corrections = ReadCorrections(registry, problems);
  for (const std::string& problem : problems) std::cerr << "vantryctl: " << Printable(problem) << "\n";
  for (const CorrectionRow& row : CorrectionRows()) {
    std::string line(row.key);
    line.append(21 - line.size(), ' ').append(CorrectionState(row, corrections));
    line.append(line.size() < 29 ? 29 - line.size() : 1, ' ').append(row.sentence);
    std::cout << line << "\n";
  }
  if (!operands.empty()) std::cout << "The change counts from Vantry's next start.\n";
  return status;
}

Status WidenCommand(Files& files, const CtlArguments& a) {
  std::string home, folder;
  Status status = FolderOf(a.operands.empty() ? "" : a.operands[0], home);
  if (status.ok()) status = BecomeOwnerOf(home);
  if (status.ok()) status = FindDataFolder(files, home, folder);
  if (!status.ok()) return status;
  SingleInstance lock(home + "vantry.lock");
  if (status = Hold(lock, home, "writes its tables"); !status.ok()) return status;
  PosixDataFiles data_files;
  int tables = 0;
  const Day today = DayOf(SystemClock().Now());
  status = WidenTables({data_files, folder, today, [&](const std::string& line) {
                          ++tables;
                          std::cout << "Widened " << Printable(line) << "\n";
                        }});
  if (status.ok() && tables == 0) std::cout << "There is no narrow table in " << Printable(folder) << "\n";
  if (status.ok() && tables > 0) std::cout << "Vantry builds their index anew at its next start.\n";
  return status;
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.lexically_normal().string();
}

Status FolderOf(const std::string& named, std::string& home) {
  const char* variable = std::getenv("VANTRY_HOME");
  const std::string folder = named.empty() && variable ? variable : named;
  if (folder.empty()) return Status::Error(Fail::kBadData, "Which folder? Name it, or set VANTRY_HOME.");
  home = WithSeparator(AbsolutePath(folder));
  std::error_code error;
  if (std::filesystem::is_directory(home, error)) return Status::Ok();
  return Status::Error(Fail::kNotFound, Printable(home) + " is not a folder.");
}

Status FindDataFolder(Files& files, const std::string& home, std::string& folder) {
  RegistryFile registry(files, home + "registry.ini");
  Settings settings;
  settings.DDFPath = WithSeparator(ReadRegistryValue(registry, "Settings", "DDFPath", home + "Data/"));
  std::string bytes;
  const Status status = files.Read(home + "SETTINGS.INI", bytes);
  if (status.ok()) (void)ParseSettings(bytes, settings);
  folder = settings.DDFPath;
  return status.fail == Fail::kNotFound ? Status::Ok() : status;
}

Status RunFolderCommand(Files& files, const CtlArguments& arguments) {
  switch (*arguments.command) {
    case CtlCommand::kCorrections:
      return CorrectionsCommand(files, arguments.operands);
    case CtlCommand::kWidenTables:
      return WidenCommand(files, arguments);
    case CtlCommand::kInstallService:
      return InstallServiceCommand(files, arguments);
    case CtlCommand::kRemoveService:
      return RemoveServiceCommand(arguments);
    default:
      return AddSiteCommand(files, arguments);
  }
}

}  // namespace vantry
