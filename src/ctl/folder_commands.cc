#include "ctl/folder_commands.h"

#include <cstdlib>
#include <iostream>

#include "config/correction_switches.h"
#include "config/registry_store.h"
#include "config/settings_file.h"
#include "config/value_forms.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "ctl/history_command.h"
#include "ctl/live_password.h"
#include "ctl/service_commands.h"
#include "database/widen_tables.h"
#include "logs/formats.h"
#include "platform/folder_owner.h"
#include "platform/posix_data_files.h"
#include "platform/single_instance.h"
#include "platform/system_clock.h"
#include "setup/add_site.h"
#include "setup/remote_place.h"
#include "setup/site_folder.h"

namespace vantry {
namespace {

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

Status AddSiteCommand(Files& files, const CtlArguments& a) {
  SiteFolder folder(files, WithSeparator(AbsolutePath(a.operands[0])));
  LogPlace place;
  if (IsRemotePlace(a.operands[1])) {
    place = RemotePlace(a);
  } else {
    const Status status = FindLog(files, AbsolutePath(a.operands[1]), a.type, place, folder.Corrected().NcsaFields);
    if (!status.ok()) return status;
  }
  std::cout << (place.recognised ? "Recognised " : "Taken for ") << FormatOf(place.type).name << ", "
            << (place.unix_lines ? "LF" : "CR LF") << " line ends\n";
  Status status = folder.Open(std::cout);
  if (status.ok()) status = folder.Add(a.name, a.domain, place);
  if (status.ok()) status = folder.Save(std::cout);
  if (status.ok() && folder.IsTakenOver()) std::cout << "The running Vantry takes it over within 10 seconds.\n";
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
  if (status = HoldFolder(lock, home, "writes its tables"); !status.ok()) return status;
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
    case CtlCommand::kHistory:
      return HistoryCommand(files, arguments);
    case CtlCommand::kLivePassword:
      return LivePasswordCommand(files, arguments);
    case CtlCommand::kRemoveService:
      return RemoveServiceCommand(arguments);
    default:
      return AddSiteCommand(files, arguments);
  }
}

}  // namespace vantry
