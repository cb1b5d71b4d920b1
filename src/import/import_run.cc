#include "import/import_run.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <utility>

#include "config/value_forms.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "import/find_sites.h"
#include "import/judge.h"
#include "setup/site_folder.h"

namespace vantry {
namespace {

constexpr std::string_view kHelp =
    "Usage: vantry-import [--all | --dry-run] [--home DIR] [--root DIR]\n"
    "\n"
    "Reads the configuration of the web servers on this machine, lists their sites and logs, and adds those you "
    "choose\n"
    "to Vantry's. The web servers' files are only read.\n"
    "\n"
    "  --all       add all that can be read, without a question\n"
    "  --dry-run   list, and change nothing\n"
    "  --home DIR  Vantry's folder ($VANTRY_HOME), made when it is not there\n"
    "  --root DIR  look below DIR for the files of a machine whose disk is mounted there\n"
    "  --help      this help\n"
    "  --version   the version\n"
    "\n"
    "It ends with 0 when all went well, 1 when something did not, 2 on wrong use.\n";

struct ImportArguments {
  bool all = false, dry_run = false, help = false, version = false;
  std::string home = {}, root = "/";
};

Status Misuse(std::string text) {
  return Status::Error(Fail::kBadData, std::move(text));
}

struct Switch {
  std::string_view name;
  bool ImportArguments::*flag;
  std::string ImportArguments::*value;
};
constexpr Switch kSwitches[] = {
    {"--all", &ImportArguments::all, nullptr},         {"--dry-run", &ImportArguments::dry_run, nullptr},
    {"--help", &ImportArguments::help, nullptr},       {"-h", &ImportArguments::help, nullptr},
    {"--version", &ImportArguments::version, nullptr}, {"--home", nullptr, &ImportArguments::home},
    {"--root", nullptr, &ImportArguments::root}};

Status ReadArguments(const std::vector<std::string>& words, ImportArguments& a) {
  for (size_t i = 0; i < words.size(); ++i) {
    const size_t mark = StartsWith(words[i], "--") ? words[i].find('=') : std::string::npos;
    const std::string name = words[i].substr(0, mark);
    const auto* row =
        std::find_if(std::begin(kSwitches), std::end(kSwitches), [&](const Switch& s) { return s.name == name; });
    if (row == std::end(kSwitches)) return Misuse("There is no option '" + name + "'.");
    if (row->flag) {
      if (mark != std::string::npos) return Misuse(name + " takes no value.");
      a.*row->flag = true;
      continue;
    }
    if (mark == std::string::npos && i + 1 == words.size()) return Misuse(name + " needs a value.");
    a.*row->value = mark == std::string::npos ? words[++i] : words[i].substr(mark + 1);
    if ((a.*row->value).empty()) return Misuse(name + " takes a folder.");
  }
  return a.all && a.dry_run ? Misuse("--all and --dry-run can't go together.") : Status::Ok();
}

std::string Verdict(const JudgedSite& site) {
  if (!site.there.empty()) return site.same_log ? "there already" : "name is taken";
  return site.readable ? "yes" : "no";
}

bool CanBeAdded(const JudgedSite& site) {
  return site.readable && site.there.empty();
}

void ListSites(const ImportSurroundings& s, const std::vector<JudgedSite>& sites) {
  TextTable table;
  table.columns = {{"No", true},       {"Server"},           {"Domain", false, 12},
                   {"Log", false, 16}, {"Format", false, 8}, {"Readable"}};
  for (size_t i = 0; i < sites.size(); ++i) {
    const FoundSite& found = sites[i].found;
    table.rows.push_back({std::to_string(i + 1), found.server, found.domain, found.log.empty() ? "-" : found.log,
                          found.format.empty() ? "-" : found.format, Verdict(sites[i])});
  }
  for (const std::string& line : FormatTable(table, s.width)) s.out << line << "\n";
}

void TellMore(const ImportSurroundings& s, size_t number, const JudgedSite& site) {
  const std::vector<std::string> lines = LinesAbout(site);
  if (lines.empty()) return;
  s.out << "\n" << number << "  " << Printable(site.found.domain) << ", " << Printable(site.found.where) << "\n";
  for (const std::string& line : lines) s.out << "    " << Printable(line) << "\n";
}

std::vector<size_t> AllOf(const std::vector<JudgedSite>& sites) {
  std::vector<size_t> numbers;
  for (size_t i = 0; i < sites.size(); ++i) {
    if (CanBeAdded(sites[i])) numbers.push_back(i + 1);
  }
  return numbers;
}

// Asks until the answer can be understood. The end of the input is an empty answer.
std::vector<size_t> Ask(const ImportSurroundings& s, const std::vector<JudgedSite>& sites) {
  std::string answer;
  std::vector<size_t> numbers;
  for (;;) {
    s.out << "\nWhich ones do you want to add? Numbers, \"all\", or nothing: " << std::flush;
    if (!std::getline(s.in, answer) || Trim(answer).empty()) return {};
    if (EqualsNoCase(Trim(answer), "all")) return AllOf(sites);
    if (ReadChoice(answer, sites.size(), numbers)) return numbers;
    s.out << "Numbers from 1 to " << sites.size() << " with blanks or commas between them, please.\n";
  }
}

class Import {
 public:
  Import(const ImportSurroundings& s, const ImportArguments& a) : s_(s), a_(a) {}

  Status Run();

 private:
  Status FindFolder();
  Status Look();
  Status AddChosen(const std::vector<size_t>& numbers);
  Status AddOne(const JudgedSite& site);

  const ImportSurroundings& s_;
  const ImportArguments& a_;
  std::optional<SiteFolder> folder_;  // Empty in a dry run that is told none.
  std::vector<JudgedSite> sites_;
  std::vector<std::string> added_;  // Domains.
};

Status Import::FindFolder() {
  std::string home;
  const Status status = NamedFolder(a_.home, home);
  if (status.ok()) folder_.emplace(s_.files, home);
  return a_.dry_run && a_.home.empty() ? Status::Ok() : status;
}

Status Import::Look() {
  const std::string root = AbsolutePath(a_.root);
  std::error_code error;
  if (!std::filesystem::is_directory(root, error)) {
    return Status::Error(Fail::kNotFound, Printable(root) + " is not a folder.");
  }
  const DiskTree tree(root);
  FoundSites found = FindSites(tree);
  for (const std::string& problem : found.problems) s_.err << "vantry-import: " << Printable(problem) << "\n";
  if (found.sites.empty()) {
    return Status::Error(Fail::kNotFound, "No site of a web server was found below " + Printable(root) + ".");
  }
  // A new folder gets all corrections.
  const bool quoted = !folder_ || folder_->Corrected().NcsaFields;
  for (FoundSite& site : found.sites) sites_.push_back(Judge(tree, s_.files, std::move(site), quoted));
  if (!folder_) return Status::Ok();
  LiveTables tables;
  const Status status = folder_->ReadSites(tables);
  FindThoseThere(tables.Sites, sites_);
  return status;
}

Status Import::AddOne(const JudgedSite& site) {
  const std::string name = Printable(site.found.domain);
  if (!site.readable) return Status::Error(Fail::kRefused, name + " can't be read: " + Printable(site.why) + ".");
  if (!site.there.empty() && site.same_log) {
    s_.out << name << " is there already, as '" << Printable(site.there) << "'.\n";
    return Status::Ok();
  }
  const auto same = [&](const std::string& domain) { return EqualsNoCase(domain, site.found.domain); };
  if (std::any_of(added_.begin(), added_.end(), same)) {
    s_.out << "Left " << Printable(site.found.log) << ": another log of " << name << " was added.\n";
    return Status::Ok();
  }
  added_.push_back(site.found.domain);
  return folder_->Add(NameFor(site.found), site.found.domain, site.place);
}

Status Import::AddChosen(const std::vector<size_t>& numbers) {
  Status status = folder_->Open(s_.out);
  if (!status.ok()) return status;
  for (const size_t number : numbers) {
    const Status added = AddOne(sites_[number - 1]);
    if (added.ok()) continue;
    s_.err << "vantry-import: " << added.text << "\n";
    status = Status::Error(Fail::kRefused, "Not all were added.");
  }
  if (const Status saved = folder_->Save(s_.out); !saved.ok()) return saved;
  if (folder_->IsTakenOver()) s_.out << "The running Vantry takes it over within 10 seconds.\n";
  return status;
}

Status Import::Run() {
  Status status = FindFolder();
  if (status.ok()) status = Look();
  if (!status.ok()) return status;
  ListSites(s_, sites_);
  for (size_t i = 0; i < sites_.size(); ++i) TellMore(s_, i + 1, sites_[i]);
  if (a_.dry_run) return Status::Ok();
  if (!a_.all && !s_.can_ask) {
    return Status::Error(Fail::kRefused, "Nothing was added, as there is no terminal to ask at. Use --all.");
  }
  const std::vector<size_t> numbers = a_.all ? AllOf(sites_) : Ask(s_, sites_);
  s_.out << "\n";
  if (!numbers.empty()) return AddChosen(numbers);
  s_.out << "Nothing to add.\n";
  return Status::Ok();
}

}  // namespace

bool ReadChoice(std::string_view answer, size_t count, std::vector<size_t>& numbers) {
  numbers.clear();
  const std::string text = ReplaceAll(std::string(answer), ",", " ");
  for (const std::string_view word : Split(text, ' ')) {
    if (word.empty()) continue;
    const size_t dash = word.find('-');
    const auto first = ParseLong(word.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : ParseLong(word.substr(dash + 1));
    if (!first || !last || *first < 1 || *last < *first || static_cast<size_t>(*last) > count) return false;
    for (auto n = static_cast<size_t>(*first); n <= static_cast<size_t>(*last); ++n) numbers.push_back(n);
  }
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return !numbers.empty();
}

int RunImport(const ImportSurroundings& s, const std::vector<std::string>& words) {
  ImportArguments a;
  Status status = ReadArguments(words, a);
  if (!status.ok()) {
    s.err << "vantry-import: " << Printable(status.text) << "\n\n" << kHelp;
    return 2;
  }
  if (a.help || a.version) {
    s.out << (a.help ? std::string(kHelp) : "vantry-import " + s.version + "\n");
    return 0;
  }
  status = Import(s, a).Run();
  if (!status.ok()) s.err << "vantry-import: " << status.text << "\n";
  if (!s.out.flush()) return 1;
  return status.ok() ? 0 : 1;
}

}  // namespace vantry
