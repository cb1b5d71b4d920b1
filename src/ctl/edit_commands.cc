#include "ctl/edit_commands.h"

#include <iostream>

#include <termios.h>
#include <unistd.h>

#include "config/correction_switches.h"
#include "config/registry_store.h"
#include "config/settings_file.h"
#include "config/site_file.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "ctl/commands.h"
#include "ctl/edit_lists.h"
#include "ctl/folder_commands.h"
#include "ctl/hand_over.h"
#include "forms/edits.h"
#include "platform/folder_owner.h"
#include "platform/regional_locale.h"
#include "platform/single_instance.h"
#include "platform/system_clock.h"
#include "setup/site_folder.h"

namespace vantry {
namespace {

Status Misused(std::string text) {
  return Status::Error(Fail::kBadData, std::move(text));
}

EditVerb VerbOf(CtlCommand command) {
  switch (command) {
    case CtlCommand::kSetSite:
      return EditVerb::kSetSite;
    case CtlCommand::kRemoveSite:
      return EditVerb::kRemoveSite;
    case CtlCommand::kSetException:
      return EditVerb::kSetException;
    case CtlCommand::kSetAlert:
      return EditVerb::kSetAlert;
    case CtlCommand::kRemoveAlert:
      return EditVerb::kRemoveAlert;
    default:
      return EditVerb::kSet;
  }
}

bool TakesValues(CtlCommand command) {
  return command == CtlCommand::kSetSite || command == CtlCommand::kSet || command == CtlCommand::kSetException ||
         command == CtlCommand::kSetAlert;
}

bool IsPassword(CtlCommand command, std::string_view key) {
  if (command == CtlCommand::kSet) {
    const auto* field = FindNamed(NamedSettings(), key);
    return field && field->look.kind == FieldKind::kPassword;
  }
  const auto* field = command == CtlCommand::kSetSite ? FindNamed(NamedSiteFields(), key) : nullptr;
  return field && field->look.kind == FieldKind::kPassword;
}

// A line of standard input; from a terminal without showing it.
std::string ReadSecret(std::string_view key) {
  termios before{};
  const bool terminal = ::isatty(STDIN_FILENO) && ::tcgetattr(STDIN_FILENO, &before) == 0;
  if (terminal) {
    std::cerr << key << ": " << std::flush;
    termios hidden = before;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    (void)::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  std::string line;
  char c = 0;
  while (line.size() <= kMostValueBytes && std::cin.get(c) && c != '\n') line += c;
  if (terminal) {
    (void)::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    std::cerr << "\n";
  }
  return line;
}

Status ReadFolder(Files& files, const std::string& home, EditVerb verb, Settings& settings, LiveTables& tables) {
  RegistryFile registry(files, home + "registry.ini");
  std::vector<std::string> problems;  // The program tells them at its start.
  tables.Corrected = ReadCorrections(registry, problems);
  if (!IsOfSites(verb)) {
    if (Status status = FindDataFolder(files, home, settings.DDFPath); !status.ok()) return status;
    return ReadSettingsOf(verb, files, home, settings);
  }
  std::string folder, bytes;
  if (Status status = FindDataFolder(files, home, folder); !status.ok()) return status;
  if (files.Read(folder + kSearchEnginesFile, bytes).ok()) ParseSearchEngines(bytes, settings);
  return ReadINI(files, home, ReadRegional(registry), tables);
}

// The lock is held: no program reads or writes meanwhile.
Status EditFiles(Files& files, const std::string& home, const EditRequest& request, std::string& told) {
  Settings settings;
  LiveTables tables;
  if (Status status = ReadFolder(files, home, request.verb, settings, tables); !status.ok()) return status;
  Status status = ApplyEdit(request, {tables, settings, files, SystemClock().Now()}, told);
  if (!status.ok()) return status;
  if (!IsOfSites(request.verb)) {
    return files.Replace(SettingsPath(request.verb, home), FormatSettingsOf(request.verb, settings));
  }
  RegistryFile registry(files, home + "registry.ini");
  return WriteINI(files, home, ReadRegional(registry), tables);
}

// Where the program of this folder listens.
Status EndpointOf(Files& files, const std::string& home, const CtlArguments& a, Endpoint& endpoint) {
  RegistryFile registry(files, home + "registry.ini");
  const std::string bind = registry.Get("Security", "BindAddress").value_or("");
  const bool any = bind.empty() || bind == "0.0.0.0" || bind == "::";
  endpoint.host = any || a.host != CtlArguments().host ? a.host : bind;
  if (Trim(registry.Get("Security", "ControlFrom").value_or("")) == "-") {
    return Status::Error(Fail::kRefused,
                         "Vantry runs on " + Printable(home) +
                             ", and ControlFrom=- in its registry.ini forbids to tell it anything. End it first, or "
                             "allow this machine there and start it anew. Nothing was changed.");
  }
  if (!a.port) return DefaultPort(files, home.c_str(), endpoint.port);
  endpoint.port = *a.port;
  return Status::Ok();
}

Status Edit(Files& files, const std::string& home, const CtlArguments& a, const EditRequest& request) {
  if (Status status = BecomeOwnerOf(home); !status.ok()) return status;
  SingleInstance lock(home + "vantry.lock");
  Status status = lock.Acquire();
  std::string told;
  if (status.ok()) {
    status = EditFiles(files, home, request, told);
  } else if (status.fail == Fail::kRefused) {
    Endpoint endpoint;
    status = EndpointOf(files, home, a, endpoint);
    if (status.ok()) status = HandOver(files, home, endpoint, request, told);
  }
  if (!status.ok()) return Status::Error(status.fail, Printable(status.text));
  std::cout << Printable(told) << "\n";
  return status;
}

}  // namespace

size_t NamesOf(CtlCommand command) {
  switch (command) {
    case CtlCommand::kSetSite:
    case CtlCommand::kRemoveSite:
    case CtlCommand::kSetException:
    case CtlCommand::kAlerts:
      return 1;
    case CtlCommand::kSetAlert:
    case CtlCommand::kRemoveAlert:
      return 2;
    default:
      return 0;
  }
}

Status ReadEditOperands(CtlCommand command, const std::vector<std::string>& operands, EditOperands& read) {
  const size_t names = NamesOf(command);
  size_t at = 0;
  if (operands.size() > names && !(TakesValues(command) && Contains(operands[names], "="))) {
    read.folder = operands[at++];
  }
  for (size_t n = 0; n < names; ++n) read.names.push_back(operands[at++]);
  for (; at < operands.size(); ++at) {
    const size_t mark = operands[at].find('=');
    if (!TakesValues(command) || mark == std::string::npos) {
      return Misused("'" + Printable(operands[at]) + "' is not KEY=VALUE.");
    }
    read.values.push_back({operands[at].substr(0, mark), operands[at].substr(mark + 1)});
  }
  if (read.values.size() > kMostValues) return Misused("That are more than 200 values.");
  return Status::Ok();
}

Status RunEditCommand(Files& files, const CtlArguments& arguments) {
  const CtlCommand command = *arguments.command;
  EditOperands operands;
  std::string home;
  Status status = ReadEditOperands(command, arguments.operands, operands);
  if (status.ok()) status = FolderOf(operands.folder, home);
  if (!status.ok()) return status;
  const bool removes = command == CtlCommand::kRemoveSite || command == CtlCommand::kRemoveAlert;
  if (!removes && operands.values.empty()) return ListOfFolder(files, home, command, operands.names);
  EditRequest request;
  request.verb = VerbOf(command);
  request.yes = arguments.yes;
  if (!operands.names.empty()) request.name = operands.names[0];
  if (operands.names.size() > 1) request.number = operands.names[1];
  for (NamedValue& named : operands.values) {
    if (named.value == "-" && IsPassword(command, named.key)) named.value = ReadSecret(named.key);
    if (const std::string wrong = TooLong(named.value); !wrong.empty()) {
      return Misused(Printable(named.key) + ": " + wrong);
    }
  }
  request.values = std::move(operands.values);
  return Edit(files, home, arguments, request);
}

}  // namespace vantry
