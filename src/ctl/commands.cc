#include "ctl/commands.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "config/correction_switches.h"
#include "config/registry_store.h"
#include "config/settings_file.h"
#include "core/text.h"
#include "ctl/add_site.h"
#include "ctl/client.h"
#include "ctl/replies.h"
#include "ctl/screen.h"
#include "ctl/watch.h"
#include "logs/formats.h"
#include "platform/regional_locale.h"
#include "platform/single_instance.h"

namespace vantry {
namespace {

void PrintTable(const Table& table) {
  for (const std::string& line : FormatTable(table, ReadScreen().width)) std::cout << line << "\n";
}

// Someone else's server may well answer a line it does not know.
Status CheckCaption(const std::string& reply) {
  if (Contains(reply, "Vantry")) return Status::Ok();
  return Status::Error(Fail::kBadData, "Something that is not Vantry answered: '" + FitTo(Printable(reply), 80) +
                                           "'. Check --host and --port.");
}

Status Caption(const Endpoint& endpoint, const std::string& line) {
  std::vector<std::string> replies;
  Status status = AskControl(endpoint, {line}, replies);
  if (status.ok()) status = CheckCaption(replies[0]);
  if (status.ok()) std::cout << Printable(replies[0]) << "\n";
  return status;
}

Status Stop(const Endpoint& endpoint) {
  std::vector<std::string> replies;
  const Status status = AskControl(endpoint, {"@@STOP"}, replies);
  if (!status.ok()) return status;
  if (replies[0] != "XXX") {
    return Status::Error(Fail::kBadData,
                         "The answer was not that of a Vantry that ends: '" + FitTo(Printable(replies[0]), 80) + "'.");
  }
  std::cout << "Vantry at " << Printable(endpoint.Name()) << " ends.\n";
  return status;
}

Status ShowStatus(const Endpoint& endpoint) {
  std::vector<std::string> replies;
  std::vector<SiteStatus> sites;
  Status status = AskControl(endpoint, {"@STATUS"}, replies);
  if (status.ok()) status = ParseStatusReply(replies[0], sites);
  if (!status.ok()) return status;
  if (sites.empty()) {
    std::cout << "No sites are monitored.\n";
  } else {
    PrintTable(SiteTableOf(sites));
  }
  return status;
}

Status ShowList(const Endpoint& endpoint, const std::vector<std::string>& operands) {
  const std::string domain = operands.empty() ? "" : operands[0];
  Status status = operands.empty() ? Status::Ok() : CheckListDomain(domain);
  std::string reply;
  std::vector<ListedVisitor> visitors;
  if (status.ok()) status = AskList(endpoint, domain, reply);
  if (status.ok()) status = ParseListReply(reply, visitors);
  if (!status.ok()) return status;
  const Table table = VisitorTableOf(visitors, true);
  if (ReadScreen().is_terminal) {
    if (visitors.empty()) {
      std::cout << "No visitors.\n";
    } else {
      PrintTable(table);
    }
    return status;
  }
  for (const auto& row : table.rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) line += (i > 0 ? "\t" : "") + Printable(row[i]);
    std::cout << line << "\n";
  }
  return status;
}

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.lexically_normal().string();
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

Status AddSiteCommand(Files& files, const CtlArguments& a) {
  const std::string home = WithSeparator(AbsolutePath(a.operands[0]));
  LogPlace place;
  Status status = FindLog(files, AbsolutePath(a.operands[1]), a.type, place);
  if (status.ok()) status = files.MakeFolder(home);
  if (!status.ok()) return status;
  std::cout << (place.recognised ? "Recognised " : "Taken for ") << FormatOf(place.type).name << ", "
            << (place.unix_lines ? "LF" : "CR LF") << " line ends\n";
  SingleInstance lock(home + "vantry.lock");
  status = lock.Acquire();
  if (status.fail == Fail::kRefused) {
    status.text = "Vantry runs on " + Printable(home) + " and would undo the change. Stop it first: `vantryctl stop`.";
  }
  if (!status.ok()) return status;
  RegistryFile registry(files, home + "registry.ini");
  std::string bytes;
  if (files.Read(home + "registry.ini", bytes).fail == Fail::kNotFound) status = MakeRegistry(registry);
  if (status.ok()) status = AddSite(files, home, ReadRegional(registry), a.name, a.domain, place);
  if (status.ok()) {
    std::cout << "Added " << Printable(Trim(a.name)) << " (" << Printable(Trim(a.domain))
              << "): " << Printable(place.folder) << Printable(place.mask) << "\n";
  }
  return status;
}

// The folder that a command names, or that of the environment.
Status FolderOf(const std::string& named, std::string& home) {
  const char* variable = std::getenv("VANTRY_HOME");
  if (named.empty() && (!variable || !*variable)) {
    return Status::Error(Fail::kBadData, "Which folder? Name it, or set VANTRY_HOME.");
  }
  home = WithSeparator(AbsolutePath(named.empty() ? variable : named));
  std::error_code error;
  if (std::filesystem::is_directory(home, error)) return Status::Ok();
  return Status::Error(Fail::kNotFound, Printable(home) + " is not a folder.");
}

Status CorrectionsCommand(Files& files, std::vector<std::string> operands) {
  std::string named, home;
  if (!operands.empty() && !Contains(operands[0], "=")) {
    named = operands[0];
    operands.erase(operands.begin());
  }
  Status status = FolderOf(named, home);
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

Status RunNetworkCommand(const Endpoint& endpoint, const CtlArguments& a) {
  switch (*a.command) {
    case CtlCommand::kHello:
      return Caption(endpoint, "@HELLO");
    case CtlCommand::kPause:
      return Caption(endpoint, "@PAUSE");
    case CtlCommand::kContinue:
      return Caption(endpoint, "@CONTINUE");
    case CtlCommand::kStop:
      return Stop(endpoint);
    case CtlCommand::kStatus:
      return ShowStatus(endpoint);
    default:
      return ShowList(endpoint, a.operands);
  }
}

}  // namespace

Status DefaultPort(Files& files, const char* home, int& port) {
  Settings settings;
  port = settings.WebAccessPort;
  if (!home || !*home) return Status::Ok();
  const std::string path = WithSeparator(home) + "SETTINGS.INI";
  std::string bytes;
  const Status status = files.Read(path, bytes);
  if (status.fail == Fail::kNotFound) return Status::Ok();
  if (!status.ok()) return status;
  // A problem further down changes nothing about a port that was read.
  (void)ParseSettings(bytes, settings);
  port = settings.WebAccessPort;
  if (port >= 1 && port <= 65535) return Status::Ok();
  return Status::Error(Fail::kBadData, "WebAccessPort in " + Printable(path) + " is " + std::to_string(port) +
                                           ", which is no port. Use --port.");
}

int RunCommand(Files& files, const CtlArguments& arguments) {
  Status status;
  if (*arguments.command == CtlCommand::kAddSite) {
    status = AddSiteCommand(files, arguments);
  } else if (*arguments.command == CtlCommand::kCorrections) {
    status = CorrectionsCommand(files, arguments.operands);
  } else {
    Endpoint endpoint;
    endpoint.host = arguments.host;
    if (arguments.port) {
      endpoint.port = *arguments.port;
    } else {
      status = DefaultPort(files, std::getenv("VANTRY_HOME"), endpoint.port);
    }
    if (status.ok() && *arguments.command == CtlCommand::kWatch) return RunWatch(endpoint, arguments.once);
    if (status.ok()) status = RunNetworkCommand(endpoint, arguments);
  }
  if (!status.ok()) std::cerr << "vantryctl: " << status.text << "\n";
  if (!std::cout.flush()) return 1;
  return status.ok() ? 0 : 1;
}

}  // namespace vantry
