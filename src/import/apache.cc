#include "import/apache.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "core/text.h"
#include "import/apache_words.h"

namespace vantry {
namespace {

// "CLF" is the server's own.
constexpr std::string_view kCommon = "%h %l %u %t \"%r\" %>s %b";
constexpr std::string_view kCombined = R"("%h %l %u %t \"%r\" %>s %b \"%{Referer}i\" \"%{User-Agent}i\"")";

struct ApacheLog {
  std::string target;
  std::string format;     // A format, or the name of one.
  std::string condition;  // "env=..." or "expr=..."; empty for none.
  ConfigPlace at;
};

struct ApacheHost {
  ConfigPlace at;
  std::string name;
  std::vector<std::string> aliases;
  std::map<std::string, std::string> formats;
  std::string default_format = std::string(kCommon);  // Of TransferLog.
  std::vector<ApacheLog> logs;
};

class ApacheReader {
 public:
  ApacheReader(const ConfigTree& tree, const ApachePlace& place, FoundSites& found)
      : reader_(tree, found.problems), server_root_(place.server_root) {
    hosts_.emplace_back().at = {place.file, 1};
    std::string bytes;
    if (!place.envvars.empty() && tree.Read(place.envvars, ConfigReader::kMostFileBytes, bytes).ok()) {
      ReadShellVariables(bytes, variables_);
    }
  }

  bool Read(const std::string& file) {
    return reader_.Begin(file, [&](const std::string& path, const std::string& bytes) { File(path, bytes); });
  }
  // The server itself, then its virtual hosts.
  const std::vector<ApacheHost>& Hosts() const { return hosts_; }
  const std::string& ServerRoot() const { return server_root_; }
  bool Knows(std::string_view variable) const { return variables_.contains(variable); }

 private:
  struct Section {
    std::string name;
    bool skipped = false;
  };

  void File(const std::string& path, const std::string& bytes);
  void Open(const ConfigPlace& at, const ApacheDirective& d);
  void Close();
  void Take(const ConfigPlace& at, const ApacheDirective& d);
  void TakeInclude(const ConfigPlace& at, const std::string& path, bool optional);
  void TakeFormat(const ApacheDirective& d);
  void TakeLog(const ConfigPlace& at, const ApacheDirective& d);
  bool IsSkipped(const std::string& name, const std::vector<std::string>& words) const;
  ApacheHost& Host() { return in_host_ ? hosts_.back() : hosts_.front(); }

  ConfigReader reader_;
  std::string server_root_;
  ApacheVariables variables_;
  std::vector<Section> sections_;
  std::vector<ApacheHost> hosts_;
  bool in_host_ = false;
};

void ApacheReader::File(const std::string& path, const std::string& bytes) {
  const size_t outside = sections_.size();
  for (ApacheDirective& d : ApacheDirectives(bytes)) {
    const ConfigPlace at{path, d.line};
    for (std::string& word : d.words) word = WithVariables(word, variables_);
    if (StartsWith(d.name, "</")) {
      // A file can't close what stands around its Include.
      if (sections_.size() > outside) Close();
    } else if (StartsWith(d.name, "<")) {
      Open(at, d);
    } else if (sections_.empty() || !sections_.back().skipped) {
      Take(at, d);
    }
  }
  while (sections_.size() > outside) Close();
}

bool ApacheReader::IsSkipped(const std::string& name, const std::vector<std::string>& words) const {
  if (name == "macro") return true;
  const std::string first = words.empty() ? "" : words[0];
  const bool negated = StartsWith(first, "!");
  if (name == "ifdefine") return variables_.contains(first.substr(negated ? 1 : 0)) == negated;
  // Which modules there are is not known. Logs are written by one that is always there.
  return name == "ifmodule" && negated;
}

void ApacheReader::Open(const ConfigPlace& at, const ApacheDirective& d) {
  const std::string name = d.name.substr(1);
  const bool skipped = (!sections_.empty() && sections_.back().skipped) || IsSkipped(name, d.words);
  sections_.push_back({name, skipped});
  if (skipped || name != "virtualhost" || in_host_) return;
  hosts_.emplace_back().at = at;
  hosts_.back().default_format = hosts_.front().default_format;
  in_host_ = true;
}

// Whatever it is called at its end: what is wrong here is wrong for the server too.
void ApacheReader::Close() {
  sections_.pop_back();
  in_host_ = std::any_of(sections_.begin(), sections_.end(),
                         [](const Section& s) { return s.name == "virtualhost" && !s.skipped; });
}

void ApacheReader::Take(const ConfigPlace& at, const ApacheDirective& d) {
  const std::string first = d.words.empty() ? "" : d.words[0];
  if (first.empty()) return;
  if (d.name == "include" || d.name == "includeoptional") {
    TakeInclude(at, first, d.name == "includeoptional");
  } else if (d.name == "define") {
    variables_[first] = d.words.size() > 1 ? d.words[1] : "";
  } else if (d.name == "undefine") {
    variables_.erase(first);
  } else if (d.name == "serverroot") {
    server_root_ = PathFrom("/", first);
  } else if (d.name == "servername") {
    Host().name = first;
  } else if (d.name == "serveralias") {
    Host().aliases.insert(Host().aliases.end(), d.words.begin(), d.words.end());
  } else if (d.name == "logformat") {
    TakeFormat(d);
  } else if (d.name == "customlog" || d.name == "transferlog") {
    TakeLog(at, d);
  } else if (d.name == "use") {
    reader_.Problem(at, "sites made by a macro are left out");
  }
}

void ApacheReader::TakeInclude(const ConfigPlace& at, const std::string& path, bool optional) {
  std::string pattern = PathFrom(server_root_, path);
  if (reader_.Tree().IsFolder(pattern)) pattern += "/*";
  reader_.Include(at, pattern, optional, [&](const std::string& file, const std::string& bytes) { File(file, bytes); });
}

void ApacheReader::TakeFormat(const ApacheDirective& d) {
  if (d.words.size() > 1) {
    Host().formats[d.words[1]] = d.words[0];
  } else {
    Host().default_format = d.words[0];
  }
}

void ApacheReader::TakeLog(const ConfigPlace& at, const ApacheDirective& d) {
  ApacheLog log{d.words[0], Host().default_format, {}, at};
  if (d.name == "customlog") {
    log.format = d.words.size() > 1 ? d.words[1] : "";
    if (d.words.size() > 2) log.condition = d.words[2];
  }
  Host().logs.push_back(std::move(log));
}

// "https://www.example.org:8443" is www.example.org.
std::string HostName(std::string_view name) {
  if (const size_t scheme = name.find("://"); scheme != std::string_view::npos) name.remove_prefix(scheme + 3);
  if (!StartsWith(name, "[")) name = name.substr(0, name.find(':'));
  if (StartsWith(name, "*.")) name.remove_prefix(2);
  return name.find_first_of("*?${}/") == std::string_view::npos ? std::string(name) : std::string();
}

class ApacheSites {
 public:
  ApacheSites(const ApacheReader& reader, const std::string& machine, FoundSites& found)
      : reader_(reader), main_(reader.Hosts().front()), machine_(machine), found_(found) {}

  void Tell() const {
    const auto& hosts = reader_.Hosts();
    // With virtual hosts the server itself hardly ever answers.
    for (size_t i = hosts.size() > 1 ? 1 : 0; i < hosts.size(); ++i) {
      const ApacheHost& host = hosts[i];
      const auto& logs = host.logs.empty() ? main_.logs : host.logs;
      for (const ApacheLog& log : logs) Log(log, host);
      if (logs.empty()) NoLog(host);
    }
  }

 private:
  std::string DomainOf(const ApacheHost& host) const {
    for (const std::string& name : {HostName(host.name), FirstAlias(host), HostName(main_.name)}) {
      if (!name.empty()) return name;
    }
    return machine_;
  }
  static std::string FirstAlias(const ApacheHost& host) {
    for (const std::string& alias : host.aliases) {
      if (std::string name = HostName(alias); !name.empty()) return name;
    }
    return {};
  }

  // The format of a name, or the text itself if it is one.
  std::optional<std::string> FormatOf(const ApacheHost& host, const std::string& format) const {
    if (Contains(format, "%")) return format;
    for (const ApacheHost* known : {&host, &main_}) {
      const auto it = known->formats.find(format);
      if (it != known->formats.end()) return it->second;
    }
    if (format == "CLF") return std::string(kCommon);
    return std::nullopt;
  }

  FoundSite SiteOf(const ApacheHost& host) const;
  void Log(const ApacheLog& log, const ApacheHost& host) const;
  void NoLog(const ApacheHost& host) const {
    FoundSite site = SiteOf(host);
    site.where = host.at.Text();
    site.problem = "it has no CustomLog";
    AddFound(found_.sites, std::move(site));
  }

  const ApacheReader& reader_;
  const ApacheHost& main_;
  const std::string& machine_;
  FoundSites& found_;
};

FoundSite ApacheSites::SiteOf(const ApacheHost& host) const {
  FoundSite site{.server = "Apache", .domain = DomainOf(host)};
  const bool is_main = &host == &main_;
  const auto combined = main_.formats.find("combined");
  const std::string folder = reader_.Knows("APACHE_LOG_DIR") ? "${APACHE_LOG_DIR}" : "logs";
  site.advice = is_main ? "write into " + host.at.file : "write into the <VirtualHost> (" + host.at.Text() + ")";
  site.advice += ": CustomLog " + folder + "/" + site.domain + ".access.log " +
                 (combined == main_.formats.end() ? std::string(kCombined) : "combined");
  return site;
}

void ApacheSites::Log(const ApacheLog& log, const ApacheHost& host) const {
  FoundSite site = SiteOf(host);
  site.where = log.at.Text();
  site.format = log.format;
  if (const auto format = FormatOf(host, log.format)) {
    site.sample = ApacheSample(*format);
  } else {
    site.problem = "there is no LogFormat " + log.format;
  }
  if (StartsWith(log.target, "|") || StartsWith(log.target, "syslog") || StartsWith(log.target, "/dev/")) {
    site.problem = "the log is not a file: " + log.target;
  } else if (Contains(log.target, "${")) {
    site.problem = "the name of the log has a variable that is not set: " + log.target;
  } else {
    site.log = PathFrom(reader_.ServerRoot(), log.target);
  }
  if (!log.condition.empty()) site.notes.push_back("only some of the requests are logged: '" + log.condition + "'");
  AddFound(found_.sites, std::move(site));
}

}  // namespace

bool FindApacheSites(const ConfigTree& tree, const ApachePlace& place, const std::string& machine, FoundSites& found) {
  ApacheReader reader(tree, place, found);
  if (!reader.Read(place.file)) return false;
  ApacheSites(reader, machine, found).Tell();
  return true;
}

}  // namespace vantry
