#include "ctl/arguments.h"

#include <iterator>

#include "config/value_forms.h"
#include "core/text.h"
#include "logs/formats.h"

namespace vantry {
namespace {

struct CommandRow {
  CtlCommand command;
  std::string_view name, operands, summary, details;
  size_t min_operands, max_operands;
};

constexpr CommandRow kCommands[] = {
    {CtlCommand::kHello, "hello", "", "ask whether Vantry is there, and in which state", "", 0, 0},
    {CtlCommand::kStatus, "status", "", "show the sites with their counts of today", "", 0, 0},
    {CtlCommand::kPause, "pause", "", "pause all scanning",
     "A paused program answers no web requests, `vantryctl list` among them.\n", 0, 0},
    {CtlCommand::kContinue, "continue", "", "go on after a pause", "", 0, 0},
    {CtlCommand::kStop, "stop", "", "end the program", "", 0, 0},
    {CtlCommand::kList, "list", "[DOMAIN]", "list the visitors of all sites or of one domain",
     "On a terminal the list is a table. Elsewhere each visitor is a line of fields with tabs between them:\n"
     "domain, visit number, visitor, page, start, last hit, browser, referrer.\n\n",
     0, 1},
    {CtlCommand::kWatch, "watch", "[--once]", "show sites and visitors, every 2 seconds anew, until Ctrl-C",
     "  --once         show one picture and end; fails when nobody answers\n", 0, 0},
    {CtlCommand::kAddSite, "add-site", "DIR --name NAME --domain DOMAIN [--type N] PATH",
     "add a site to a program's folder",
     "DIR is the program's folder (its VANTRY_HOME), made when it is not there. PATH is the log file, or the\n"
     "folder whose newest log counts. The program must be stopped, unless its correction KeepEdits is on.\n"
     "A log on another machine is ftp://USER@HOST/FOLDER/access.log, or a mask like *.log in the place of the\n"
     "name; also with ftps:, ftpes: or sftp:. The password is taken from $VANTRY_FTP_PASSWORD, and a log whose\n"
     "type is not given is one of Apache or nginx.\n\n"
     "  --name NAME    the site's name\n"
     "  --domain NAME  the site's domain\n"
     "  --type N       the log's type, where it can't be told from the log:\n",
     2, 2},
    {CtlCommand::kCorrections, "corrections", "[DIR] [KEY=VALUE ...]", "list the corrections, or switch some on or off",
     "A correction cures what hurts on servers of today; without it Vantry behaves as it always did. DIR is the\n"
     "program's folder, $VANTRY_HOME if it is left out. A change counts from the program's next start.\n\n"
     "  KEY=True       switches a correction on; All=True switches all on that have no line of their own\n"
     "  KEY=False      switches it off\n"
     "  KEY=N          sets the number of one that has a number\n",
     0, 1000},
    {CtlCommand::kWidenTables, "widen-tables", "[DIR]", "convert the history's tables to wider fields",
     "IPv6 visitors of one network, and sites whose names agree in 20 characters, share their history in tables of "
     "old.\n"
     "New rows are told apart once these are converted, whole addresses and names need the room; what was cut stays "
     "cut.\n"
     "DIR is the folder of a stopped program, $VANTRY_HOME if it is left out. The disk needs room for the largest\n"
     "tables a second time. An interrupted run has lost nothing: run it again.\n",
     0, 1},
    {CtlCommand::kReload, "reload", "", "take over now what was edited in the program's files",
     "Without it edits are taken over within 10 seconds. Needs the correction KeepEdits.\n", 0, 0},
    {CtlCommand::kReport, "report", "SITE", "make a site's report of today now, and print where it is",
     "SITE is the site's name. The report has today's alerts, spiders and exceptions so far. It is a file in the\n"
     "program's folder, on the machine where Vantry runs, and replaces the one before. It is not mailed.\n\n",
     1, 1},
    {CtlCommand::kInstallService, "install-service", "[DIR] [--account NAME] [--auto]",
     "let the machine's service manager run Vantry",
     "DIR is the program's folder, $VANTRY_HOME if it is left out. Writes /etc/systemd/system/vantry.service, which\n"
     "takes the place of a packaged service until `vantryctl remove-service`.\n\n"
     "  --account NAME    who it runs as; without it, or with SYSTEM, whom DIR belongs to\n"
     "  --system-account  whom DIR belongs to, whatever --account says\n"
     "  --auto            start it with the machine\n"
     "  --root FOLDER     install it in a machine that is mounted there, and start nothing\n",
     0, 1},
    {CtlCommand::kRemoveService, "remove-service", "", "end the service and remove it from the service manager",
     "  --root FOLDER     remove it from a machine that is mounted there\n", 0, 0},
    {CtlCommand::kHistory, "history", "[DIR] LIST [VISIT]", "show what happened before",
     "LIST is one of\n"
     "  visits         the visits of an address, or of all addresses\n"
     "  visit          one visit with its pages: needs its number, --site and --address\n"
     "  referrers      the sites that sent visitors, busiest first\n"
     "  downloads      what an address downloaded; without --address the files downloaded most\n"
     "  days           visitors, alerts, spiders, exceptions and downloads of each day\n\n"
     "It reads the tables in the program's folder DIR ($VANTRY_HOME if it is left out), changes nothing, and doesn't\n"
     "mind whether Vantry runs; what a running Vantry has seen is there 10 seconds later.\n\n"
     "  --site NAME    of this site alone\n"
     "  --address IP   of this address alone\n"
     "  --from DAY     from this day on, as 2026-03-05\n"
     "  --to DAY       up to this day\n"
     "  --limit N      the first N rows\n"
     "  --format F     text, csv or json; dates are as in --from, but in text as people here write them\n",
     1, 3},
    {CtlCommand::kLivePassword, "live-password", "[DIR] [--user NAME] [--print]",
     "set name and password of the live page",
     "Asks for the password twice, or reads it as one line of standard input. Only a hash of it is kept, in the\n"
     "section Live of registry.ini in the program's folder DIR, $VANTRY_HOME if it is left out. A change counts at\n"
     "once and ends all logins; a first password counts at once as well.\n\n"
     "  --user NAME    the name to log in with, otherwise `admin`\n"
     "  --print        write nothing, print the two lines\n",
     0, 1},
    {CtlCommand::kSites, "sites", "[DIR]", "list the sites of a program's folder", "", 0, 1},
    {CtlCommand::kSetSite, "set-site", "[DIR] NAME [KEY=VALUE ...]", "show or change what is set for a site",
     "Without KEY=VALUE it shows what is set. A site whose log comes from elsewhere afterwards is read anew, from the\n"
     "beginning of the log. A password given as `-` is read from standard input.\n\n"
     "  --yes          change the name, too, although the history stays with the old one\n",
     1, 1000},
    {CtlCommand::kRemoveSite, "remove-site", "[DIR] NAME", "stop watching a site for good",
     "Its logs and its history stay.\n", 1, 2},
    {CtlCommand::kSettings, "settings", "[DIR]", "show the settings of a program's folder", "", 0, 1},
    {CtlCommand::kSet, "set", "[DIR] KEY=VALUE ...", "change settings",
     "A password given as `-` is read from standard input.\n", 1, 1000},
    {CtlCommand::kExceptions, "exceptions", "[DIR]", "list the types of exceptions", "", 0, 1},
    {CtlCommand::kSetException, "set-exception", "[DIR] NUMBER [KEY=VALUE ...]", "show or change a type of exception",
     "Without KEY=VALUE it shows what is set.\n", 1, 1000},
    {CtlCommand::kAlerts, "alerts", "[DIR] SITE", "list the alerts of a site", "", 1, 2},
    {CtlCommand::kSetAlert, "set-alert", "[DIR] SITE NUMBER [KEY=VALUE ...]", "show, change or add an alert of a site",
     "NUMBER is the place in the list of `vantryctl alerts`, or `new` for one more. Without KEY=VALUE it shows what "
     "is\n"
     "set. DNS, Word, Page and Engine take several entries with ; between them; EngineAll=True is any visitor.\n",
     2, 1000},
    {CtlCommand::kRemoveAlert, "remove-alert", "[DIR] SITE NUMBER", "remove an alert of a site", "", 2, 3},
};

const CommandRow& RowOf(CtlCommand command) {
  return kCommands[static_cast<size_t>(command)];
}

Status Misuse(std::string text) {
  return Status::Error(Fail::kBadData, std::move(text));
}

Status SetPort(CtlArguments& arguments, const std::string& value) {
  const auto n = ParseLong(value);
  if (!n || *n < 1 || *n > 65535) return Misuse("--port takes a number from 1 to 65535, not '" + value + "'.");
  arguments.port = *n;
  return Status::Ok();
}

Status SetType(CtlArguments& arguments, const std::string& value) {
  const auto last = static_cast<int32_t>(Formats().size() - 1);
  const auto n = ParseLong(value);
  if (!n || *n < 0 || *n > last || value != std::to_string(*n)) {
    return Misuse("--type takes a number from 0 to " + std::to_string(last) + ", not '" + value + "'.");
  }
  arguments.type = static_cast<LogType>(*n);
  return Status::Ok();
}

Status SetDay(std::optional<Day>& day, std::string_view option, const std::string& value) {
  day = ParseYearFirstDate(value, '-');
  if (day) return Status::Ok();
  return Misuse(std::string(option) + " takes a day like 2026-03-05, not '" + value + "'.");
}

Status SetLimit(CtlArguments& arguments, const std::string& value) {
  const auto n = ParseLong(value);
  if (!n || *n < 1) return Misuse("--limit takes a number from 1 on, not '" + value + "'.");
  arguments.history.limit = *n;
  return Status::Ok();
}

Status SetFormat(CtlArguments& arguments, const std::string& value) {
  constexpr std::string_view kFormats[] = {"text", "csv", "json"};
  for (size_t i = 0; i < std::size(kFormats); ++i) {
    if (value != kFormats[i]) continue;
    arguments.history.format = static_cast<HistoryFormat>(i);
    return Status::Ok();
  }
  return Misuse("--format takes text, csv or json, not '" + value + "'.");
}

// The types with their names, three in a line, below the text of --type.
std::string TypeList() {
  std::string text;
  const size_t count = Formats().size();
  for (size_t n = 0; n < count; ++n) {
    text.append(n % 3 == 0 ? "                 " : " ").append(std::to_string(n)).append(" ");
    text.append(FormatOf(static_cast<LogType>(n)).name);
    if (n + 1 < count) text += ',';
    if (n % 3 == 2 || n + 1 == count) text += '\n';
  }
  return text;
}

// Which commands an option belongs to.
enum class Scope { kNetwork, kWatch, kAddSite, kInstall, kService, kSetSite, kHistory, kLivePassword };

struct OptionRow {
  std::string_view name;
  Scope scope;
  bool has_value;
  Status (*set)(CtlArguments&, const std::string&);
};

const OptionRow kOptions[] = {
    {"--host", Scope::kNetwork, true,
     [](CtlArguments& a, const std::string& v) {
       a.host = v;
       return v.empty() ? Misuse("--host takes a name or an address.") : Status::Ok();
     }},
    {"--port", Scope::kNetwork, true, SetPort},
    {"--once", Scope::kWatch, false,
     [](CtlArguments& a, const std::string&) {
       a.once = true;
       return Status::Ok();
     }},
    {"--name", Scope::kAddSite, true,
     [](CtlArguments& a, const std::string& v) {
       a.name = v;
       return Status::Ok();
     }},
    {"--domain", Scope::kAddSite, true,
     [](CtlArguments& a, const std::string& v) {
       a.domain = v;
       return Status::Ok();
     }},
    {"--type", Scope::kAddSite, true, SetType},
    {"--account", Scope::kInstall, true,
     [](CtlArguments& a, const std::string& v) {
       a.service.account = v;
       return Status::Ok();
     }},
    {"--system-account", Scope::kInstall, false,
     [](CtlArguments& a, const std::string&) {
       a.service.system_account = true;
       return Status::Ok();
     }},
    {"--auto", Scope::kInstall, false,
     [](CtlArguments& a, const std::string&) {
       a.service.starts_automatically = true;
       return Status::Ok();
     }},
    {"--yes", Scope::kSetSite, false,
     [](CtlArguments& a, const std::string&) {
       a.yes = true;
       return Status::Ok();
     }},
    {"--user", Scope::kLivePassword, true,
     [](CtlArguments& a, const std::string& v) {
       a.user = Trim(v);
       const bool fits = !a.user.empty() && a.user.size() <= 64 && !Contains(a.user, ":");
       return fits ? Status::Ok() : Misuse("--user takes a name of at most 64 characters, without \":\".");
     }},
    {"--print", Scope::kLivePassword, false,
     [](CtlArguments& a, const std::string&) {
       a.print = true;
       return Status::Ok();
     }},
    {"--site", Scope::kHistory, true,
     [](CtlArguments& a, const std::string& v) {
       a.history.site = v;
       return Trim(v).empty() ? Misuse("--site takes the name of a site.") : Status::Ok();
     }},
    {"--address", Scope::kHistory, true,
     [](CtlArguments& a, const std::string& v) {
       a.history.address = v;
       return Trim(v).empty() ? Misuse("--address takes an address.") : Status::Ok();
     }},
    {"--from", Scope::kHistory, true,
     [](CtlArguments& a, const std::string& v) { return SetDay(a.history.from, "--from", v); }},
    {"--to", Scope::kHistory, true,
     [](CtlArguments& a, const std::string& v) { return SetDay(a.history.to, "--to", v); }},
    {"--limit", Scope::kHistory, true, SetLimit},
    {"--format", Scope::kHistory, true, SetFormat},
    {"--root", Scope::kService, true,
     [](CtlArguments& a, const std::string& v) {
       a.root = v;
       return v.empty() ? Misuse("--root takes a folder.") : Status::Ok();
     }},
};

bool Takes(CtlCommand command, Scope scope) {
  switch (scope) {
    case Scope::kWatch:
      return command == CtlCommand::kWatch;
    case Scope::kAddSite:
      return command == CtlCommand::kAddSite;
    case Scope::kInstall:
      return command == CtlCommand::kInstallService;
    case Scope::kSetSite:
      return command == CtlCommand::kSetSite;
    case Scope::kHistory:
      return command == CtlCommand::kHistory;
    case Scope::kLivePassword:
      return command == CtlCommand::kLivePassword;
    case Scope::kService:
      return command == CtlCommand::kInstallService || command == CtlCommand::kRemoveService;
    default:
      return !IsOffline(command);
  }
}

class Parser {
 public:
  Parser(const std::vector<std::string>& words, CtlArguments& arguments) : words_(words), a_(arguments) {}

  Status Run() {
    bool options = true;
    while (at_ < words_.size()) {
      const std::string& word = words_[at_++];
      Status status;
      if (options && word == "--") {
        options = false;
      } else if (options && word.size() > 1 && word[0] == '-') {
        status = Option(word);
      } else {
        status = Operand(word);
      }
      if (!status.ok()) return status;
    }
    return a_.help ? Status::Ok() : Check();
  }

 private:
  Status Option(const std::string& word) {
    if (word == "--help" || word == "-h") {
      a_.help = true;
      return Status::Ok();
    }
    const size_t mark = word.find('=');
    const std::string name = word.substr(0, mark);
    for (const OptionRow& row : kOptions) {
      if (row.name != name) continue;
      std::string value;
      if (mark != std::string::npos) {
        if (!row.has_value) return Misuse(name + " takes no value.");
        value = word.substr(mark + 1);
      } else if (row.has_value) {
        if (at_ == words_.size()) return Misuse(name + " needs a value.");
        value = words_[at_++];
      }
      used_.push_back(&row);
      return row.set(a_, value);
    }
    return Misuse("There is no option '" + name + "'.");
  }

  Status Operand(const std::string& word) {
    if (a_.command) {
      a_.operands.push_back(word);
      return Status::Ok();
    }
    for (const CommandRow& row : kCommands) {
      if (row.name == word) a_.command = row.command;
    }
    return a_.command ? Status::Ok() : Misuse("There is no command '" + word + "'.");
  }

  Status Check() const {
    if (!a_.command) return Misuse("A command is missing.");
    const CommandRow& row = RowOf(*a_.command);
    for (const OptionRow* option : used_) {
      if (!Takes(*a_.command, option->scope)) {
        return Misuse(std::string(row.name) + " does not take " + std::string(option->name) + ".");
      }
    }
    if (a_.operands.size() < row.min_operands) {
      return Misuse(std::string(row.name) + " needs " + std::string(row.operands) + ".");
    }
    if (a_.operands.size() > row.max_operands) {
      return Misuse(std::string(row.name) + " can't use '" + a_.operands[row.max_operands] + "'.");
    }
    if (*a_.command == CtlCommand::kAddSite && (Trim(a_.name).empty() || Trim(a_.domain).empty())) {
      return Misuse("add-site needs a --name and a --domain.");
    }
    return Status::Ok();
  }

  const std::vector<std::string>& words_;
  CtlArguments& a_;
  size_t at_ = 0;
  std::vector<const OptionRow*> used_;
};

constexpr std::string_view kNetworkHelp =
    "  --host HOST    where Vantry runs (127.0.0.1)\n"
    "  --port N       its port (WebAccessPort of $VANTRY_HOME/SETTINGS.INI, or 8004)\n";

constexpr std::string_view kListHelp = "DIR is the program's folder, $VANTRY_HOME if it is left out.\n";
constexpr std::string_view kEditHelp =
    "DIR is the program's folder, $VANTRY_HOME if it is left out. If Vantry runs there, it makes the change itself, "
    "at\nonce; otherwise its files are changed.\n\n";

}  // namespace

bool IsOffline(CtlCommand command) {
  return command == CtlCommand::kAddSite || command == CtlCommand::kCorrections ||
         command == CtlCommand::kWidenTables || command == CtlCommand::kInstallService ||
         command == CtlCommand::kRemoveService || command == CtlCommand::kHistory ||
         command == CtlCommand::kLivePassword || command == CtlCommand::kSites || command == CtlCommand::kSettings ||
         command == CtlCommand::kExceptions || command == CtlCommand::kAlerts;
}

bool IsEdit(CtlCommand command) {
  return command >= CtlCommand::kSites;
}

Status ParseArguments(const std::vector<std::string>& words, CtlArguments& arguments) {
  return Parser(words, arguments).Run();
}

std::string HelpText(std::optional<CtlCommand> command) {
  if (command) {
    const CommandRow& row = RowOf(*command);
    const bool network = Takes(*command, Scope::kNetwork);
    std::string text = "Usage: vantryctl " + std::string(row.name);
    if (network) text += " [--host HOST] [--port N]";
    if (!row.operands.empty()) text.append(" ").append(row.operands);
    text += std::string("\n\n") + UpperAscii(row.summary[0]);
    text.append(row.summary.substr(1)).append(".\n\n").append(row.details);
    if (*command == CtlCommand::kAddSite) text += TypeList();
    if (IsEdit(*command)) text += network ? kEditHelp : kListHelp;
    return network ? text.append(kNetworkHelp) : text;
  }
  std::string text = "Usage: vantryctl [--host HOST] [--port N] COMMAND ...\n\nCommands:\n";
  for (const CommandRow& row : kCommands) {
    text.append("  ").append(row.name).append(17 - row.name.size(), ' ').append(row.summary).append("\n");
  }
  text += "\nOptions:\n";
  text += kNetworkHelp;
  text += "  --help         this help, or that of the command it stands with\n";
  text += "\nIt ends with 0 when all went well, 1 when Vantry could not be reached or refused, 2 on wrong use.\n";
  return text;
}

}  // namespace vantry
