#include "import/caddy.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/text.h"
#include "import/caddyfile.h"
#include "import/json.h"
#include "import/sample_line.h"

namespace vantry {
namespace {

constexpr std::string_view kCommonTime = "02/Jan/2006:15:04:05 -0700";
constexpr std::string_view kCommonTemplate =
    "{request>remote_ip} - {user_id} [{ts}] \"{request>method} {request>uri} {request>proto}\" {status} {size}";

struct Placeholder {
  std::string_view name, value;
};
// All others are a dash.
constexpr Placeholder kPlaceholders[] = {{"request>remote_ip", SampleVisit::kClient},
                                         {"request>client_ip", SampleVisit::kClient},
                                         {"request>remote_addr", "192.0.2.7:50000"},
                                         {"request>method", "GET"},
                                         {"request>uri", SampleVisit::kTarget},
                                         {"request>proto", "HTTP/1.1"},
                                         {"request>host", SampleVisit::kHost},
                                         {"request>headers>Referer>[0]", SampleVisit::kReferrer},
                                         {"request>headers>User-Agent>[0]", SampleVisit::kAgent},
                                         {"status", SampleVisit::kStatus},
                                         {"size", SampleVisit::kBytes},
                                         {"duration", "0.0001"}};

constexpr std::string_view kFormatToAdd =
    "format transform `{request>remote_ip} - {user_id} [{ts}] \"{request>method} {request>uri} {request>proto}\" "
    "{status} {size} \"{request>headers>Referer>[0]}\" \"{request>headers>User-Agent>[0]}\"` {\n"
    "    time_format \"02/Jan/2006:15:04:05 -0700\"\n"
    "}";
constexpr std::string_view kModule =
    "Caddy needs its module transform-encoder (\"caddy add-package github.com/caddyserver/transform-encoder\")";

// How a log is written, whether a Caddyfile says so or JSON.
struct CaddyLog {
  std::string output = {};  // "file"; empty for the standard error.
  std::string file = {};
  std::string format = {};  // "transform"; empty for JSON.
  std::string pattern = {}, time_format = {};
};

// The host of "https://www.example.org:8443/path"; empty if the address names none.
std::string HostOfAddress(std::string_view address) {
  if (const size_t scheme = address.find("://"); scheme != std::string_view::npos) address.remove_prefix(scheme + 3);
  address = address.substr(0, address.find('/'));
  if (!StartsWith(address, "[")) address = address.substr(0, address.find(':'));
  if (StartsWith(address, "*.")) address.remove_prefix(2);
  return address.find_first_of("*{}$") == std::string_view::npos ? std::string(address) : std::string();
}

std::string Advice(const std::string& domain, const std::string& where, bool has_file) {
  std::string text = std::string(kModule) + "; write into the log's block (" + where + "):\n";
  if (!has_file) text += "output file /var/log/caddy/" + domain + ".access.log\n";
  return text.append(kFormatToAdd);
}

FoundSite SiteOf(const CaddyLog& log, const std::string& domain, const ConfigPlace& at) {
  FoundSite site{.server = "Caddy", .domain = domain};
  site.where = at.Text();
  site.advice = Advice(domain, site.where, log.output == "file");
  site.format = log.format.empty() ? "json" : log.format;
  if (site.format == "transform") {
    site.sample = CaddySample(log.pattern, log.time_format);
  } else if (site.format == "json" || site.format == "console") {
    site.problem = "the log's format is Caddy's own, '" + site.format + "'";
  } else {
    site.problem = "the log's format, '" + site.format + "', is not known";
  }
  if (log.output == "file" && !log.file.empty()) {
    site.log = PathFrom("/", log.file);
    if (Contains(log.file, "{")) site.problem = "the name of the log holds a variable: " + log.file;
    if (Contains(log.file, "{")) site.log.clear();
  } else {
    site.problem = "the log does not go to a file";
  }
  return site;
}

// --- Caddyfile ---

void TakeFormat(const CaddyLine& line, CaddyLog& log) {
  const auto& words = line.words;
  if (words.size() > 1) log.format = words[1];
  if (log.format == "single_field" && words.size() > 2 && words[2] == "common_log") {
    log.format = "transform";
    log.pattern = "{common_log}";
  } else if (words.size() > 2) {
    log.pattern = words[2];
  }
  for (const CaddyLine& inner : line.inner) {
    if (inner.words.size() < 2) continue;
    if (inner.words[0] == "time_format") log.time_format = inner.words[1];
    // "filter" and "append" change fields and leave the writing to another one.
    if (inner.words[0] == "wrap") TakeFormat(inner, log);
  }
}

CaddyLog LogOf(const CaddyLine& line) {
  CaddyLog log;
  for (const CaddyLine& inner : line.inner) {
    if (inner.words.size() < 2) continue;
    if (inner.words[0] == "output") {
      log.output = inner.words[1];
      if (inner.words.size() > 2) log.file = inner.words[2];
    } else if (inner.words[0] == "format") {
      TakeFormat(inner, log);
    }
  }
  return log;
}

std::vector<std::string> HostsOf(const std::vector<std::string>& words, size_t first, const std::string& machine) {
  std::vector<std::string> hosts;
  for (size_t i = first; i < words.size(); ++i) {
    for (const std::string_view address : Split(words[i], ',')) {
      if (std::string host = HostOfAddress(address); !host.empty()) hosts.push_back(std::move(host));
    }
  }
  if (hosts.empty()) hosts.push_back(machine);
  return hosts;
}

void TellSite(const std::vector<std::string>& addresses, const ConfigPlace& at, const std::vector<CaddyLine>& lines,
              const std::string& machine, FoundSites& found) {
  const std::vector<std::string> hosts = HostsOf(addresses, 0, machine);
  bool any = false;
  for (const CaddyLine& line : lines) {
    if (line.words.empty() || line.words[0] != "log") continue;
    any = true;
    std::vector<std::string> own = hosts;
    for (const CaddyLine& inner : line.inner) {
      if (inner.words.size() > 1 && inner.words[0] == "hostnames") own = HostsOf(inner.words, 1, machine);
    }
    AddFound(found.sites, SiteOf(LogOf(line), own[0], line.at));
  }
  if (any) return;
  FoundSite site{.server = "Caddy", .domain = hosts[0]};
  site.where = at.Text();
  site.problem = "it has no log";
  site.advice = std::string(kModule) + "; write into the site's block (" + site.where + "):\nlog {\n    output file " +
                "/var/log/caddy/" + hosts[0] + ".access.log\n    " +
                ReplaceAll(std::string(kFormatToAdd), "\n", "\n    ") + "\n}";
  AddFound(found.sites, std::move(site));
}

// --- JSON ---

// Whether a log with these lines of "include" takes what the logger writes.
bool TakesLogger(const JsonValue& log, const std::string& logger) {
  const JsonValue& include = log["include"];
  if (include.members.empty()) return true;
  return std::any_of(include.members.begin(), include.members.end(), [&](const auto& member) {
    return logger == member.value.text || StartsWith(logger, member.value.text + ".");
  });
}

CaddyLog LogOf(const JsonValue& log) {
  CaddyLog out;
  out.output = log["writer"]["output"].text;
  out.file = log["writer"]["filename"].text;
  const JsonValue* encoder = &log["encoder"];
  while ((*encoder)["wrap"].kind == JsonValue::Kind::kObject) encoder = &(*encoder)["wrap"];
  out.format = (*encoder)["format"].text;
  out.pattern = (*encoder)["template"].text;
  out.time_format = (*encoder)["time_format"].text;
  if (out.format == "single_field" && (*encoder)["field"].text == "common_log") {
    out.format = "transform";
    out.pattern = "{common_log}";
  }
  return out;
}

class CaddyJsonSites {
 public:
  CaddyJsonSites(const JsonValue& config, const std::string& file, const std::string& machine, FoundSites& found)
      : servers_(config["apps"]["http"]["servers"]),
        logs_(config["logging"]["logs"]),
        at_{file, 1},
        machine_(machine),
        found_(found) {}

  void Tell() const {
    for (const auto& [name, server] : servers_.members) Server(server);
  }

 private:
  void Server(const JsonValue& server) const {
    const JsonValue& logs = server["logs"];
    if (logs.kind == JsonValue::Kind::kNothing) return;
    std::vector<std::string> hosts;
    for (const auto& [host, loggers] : logs["logger_names"].members) {
      if (loggers.kind == JsonValue::Kind::kText) Logger(host, loggers.text);
      for (const auto& [none, logger] : loggers.members) Logger(host, logger.text);
      hosts.push_back(host);
    }
    for (const auto& [none, route] : server["routes"].members) {
      for (const auto& [also_none, match] : route["match"].members) {
        for (const auto& [nothing, host] : match["host"].members) {
          if (std::find(hosts.begin(), hosts.end(), host.text) != hosts.end()) continue;
          hosts.push_back(host.text);
          Logger(host.text, logs["default_logger_name"].text);
        }
      }
    }
    if (hosts.empty()) Logger(machine_, logs["default_logger_name"].text);
  }

  void Logger(const std::string& host, const std::string& name) const {
    std::string domain = HostOfAddress(host);
    if (domain.empty()) domain = machine_;
    const std::string logger = name.empty() ? "http.log.access" : "http.log.access." + name;
    bool any = false;
    for (const auto& [key, log] : logs_.members) {
      if (!TakesLogger(log, logger)) continue;
      // The one that takes everything is where the server tells of itself too.
      if (key == "default" && log["include"].members.empty() && logs_.members.size() > 1) continue;
      any = true;
      AddFound(found_.sites, JsonSite(LogOf(log), domain));
    }
    if (!any) AddFound(found_.sites, JsonSite({}, domain));
  }

  FoundSite JsonSite(const CaddyLog& log, const std::string& domain) const {
    FoundSite site = SiteOf(log, domain, at_);
    site.advice = std::string(kModule) + "; give the log of " + domain + " in " + at_.file +
                  " this encoder:\n\"encoder\": {\"format\": \"transform\", \"template\": \"{common_log}\"}";
    return site;
  }

  const JsonValue &servers_, &logs_;
  ConfigPlace at_;
  const std::string& machine_;
  FoundSites& found_;
};

}  // namespace

bool FindCaddyfileSites(const ConfigTree& tree, const std::string& file, const std::string& machine,
                        FoundSites& found) {
  ConfigReader reader(tree, found.problems);
  std::vector<CaddyLine> lines;
  if (!CaddyfileReader(reader).Read(file, lines)) return false;
  // Options for all come first, in a block without a name. A file without any block is one site.
  const bool options = !lines.empty() && lines[0].words.empty() && lines[0].has_block;
  if (options) lines.erase(lines.begin());
  if (!lines.empty() && !lines[0].has_block) {
    const CaddyLine first = lines[0];
    lines.erase(lines.begin());
    TellSite(first.words, first.at, lines, machine, found);
    return true;
  }
  for (const CaddyLine& site : lines) {
    if (site.has_block && !site.words.empty()) TellSite(site.words, site.at, site.inner, machine, found);
  }
  return true;
}

bool FindCaddyJsonSites(const ConfigTree& tree, const std::string& file, const std::string& machine,
                        FoundSites& found) {
  ConfigReader reader(tree, found.problems);
  return reader.Begin(file, [&](const std::string& path, const std::string& bytes) {
    JsonValue config;
    if (ParseJson(bytes, config)) {
      CaddyJsonSites(config, path, machine, found).Tell();
    } else {
      reader.Problem({path, 1}, "is not JSON");
    }
  });
}

std::string CaddySample(std::string_view pattern, std::string_view time_format) {
  // Without a template the module writes the common format.
  const bool common = pattern.empty() || pattern == "{common_log}";
  if (common) pattern = kCommonTemplate;
  const std::string_view time = common || time_format == kCommonTime ? SampleVisit::kStamp : "1772714096.123";
  std::string line;
  while (!pattern.empty()) {
    const size_t open = pattern.find('{');
    line += pattern.substr(0, open);
    if (open == std::string_view::npos) break;
    const size_t close = pattern.find('}', open);
    if (close == std::string_view::npos) return {};
    const std::string_view name = pattern.substr(open + 1, close - open - 1);
    pattern.remove_prefix(close + 1);
    const auto* known = std::find_if(std::begin(kPlaceholders), std::end(kPlaceholders),
                                     [&](const Placeholder& p) { return p.name == name; });
    line += name == "ts" ? time : known == std::end(kPlaceholders) ? "-" : known->value;
  }
  return line;
}

}  // namespace vantry
