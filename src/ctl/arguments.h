// The command line of vantryctl.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/service_setup.h"
#include "core/date_time.h"
#include "core/status.h"
#include "core/tables.h"

namespace vantry {

enum class CtlCommand {
  kHello,
  kStatus,
  kPause,
  kContinue,
  kStop,
  kList,
  kWatch,
  kAddSite,
  kCorrections,
  kWidenTables,
  kReload,
  kReport,
  kInstallService,
  kRemoveService,
  kHistory,
  kLivePassword,
  // From here on: IsEdit.
  kSites,
  kSetSite,
  kRemoveSite,
  kSettings,
  kSet,
  kExceptions,
  kSetException,
  kAlerts,
  kSetAlert,
  kRemoveAlert
};

// Commands on a folder of files, which ask no running program.
bool IsOffline(CtlCommand command);
// Commands that do what the dialogs do: on a folder of files, or through the program that runs there.
bool IsEdit(CtlCommand command);

enum class HistoryFormat { kText, kCsv, kJson };

// What to look for in the history.
struct HistoryQuestion {
  std::string site, address;
  std::optional<Day> from, to;
  std::optional<int32_t> limit;
  HistoryFormat format = HistoryFormat::kText;
};

struct CtlArguments {
  std::optional<CtlCommand> command;  // Empty only when `help` is set.
  bool help = false;
  std::string host = "127.0.0.1";
  std::optional<int> port;      // 1 to 65535.
  bool once = false;            // watch
  std::string name, domain;     // add-site
  std::optional<LogType> type;  // add-site
  ServiceForm service;          // install-service
  std::string root = "/";       // install-service, remove-service
  bool yes = false;             // set-site
  HistoryQuestion history;      // history
  std::string user = "admin";   // live-password
  bool print = false;           // live-password
  std::vector<std::string> operands;
};

// Reads the arguments after the program's name. kBadData with a text for people on any misuse.
Status ParseArguments(const std::vector<std::string>& words, CtlArguments& arguments);

// The help of one command, or of the program.
std::string HelpText(std::optional<CtlCommand> command);

}  // namespace vantry
