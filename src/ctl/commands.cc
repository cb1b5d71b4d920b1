#include "ctl/commands.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "config/settings_file.h"
#include "core/text.h"
#include "ctl/client.h"
#include "ctl/edit_commands.h"
#include "ctl/folder_commands.h"
#include "ctl/replies.h"
#include "ctl/screen.h"
#include "ctl/watch.h"
#include "setup/terminal.h"

namespace vantry {
namespace {

void PrintTable(const TextTable& table) {
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
  const TextTable table = VisitorTableOf(visitors, true);
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

Status Report(const Endpoint& endpoint, const std::string& site) {
  const auto unfit = [](unsigned char c) { return c < ' ' || c == 127; };
  if (site.empty() || std::any_of(site.begin(), site.end(), unfit)) {
    return Status::Error(Fail::kBadData, "This can't be the name of a site.");
  }
  std::vector<std::string> replies;
  Status status = AskControl(endpoint, {"@REPORT " + site}, replies);
  if (!status.ok()) return status;
  const std::string_view reply = replies[0];
  if (StartsWith(reply, "ERROR ")) return Status::Error(Fail::kRefused, Printable(reply.substr(6)) + ".");
  if (!StartsWith(reply, "OK ")) {
    return Status::Error(Fail::kBadData,
                         "The answer names no report: '" + FitTo(Printable(reply), 80) + "'. Check --host and --port.");
  }
  std::cout << Printable(reply.substr(3)) << "\n";
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
    case CtlCommand::kReload:
      return Caption(endpoint, "@RELOAD");
    case CtlCommand::kStop:
      return Stop(endpoint);
    case CtlCommand::kReport:
      return Report(endpoint, a.operands[0]);
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
  if (IsEdit(*arguments.command)) {
    status = RunEditCommand(files, arguments);
  } else if (IsOffline(*arguments.command)) {
    status = RunFolderCommand(files, arguments);
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
