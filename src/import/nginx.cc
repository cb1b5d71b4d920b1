#include "import/nginx.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "core/text.h"
#include "import/nginx_words.h"
#include "import/sample_line.h"

namespace vantry {
namespace {

using V = SampleVisit;

// Blocks in blocks; the server itself takes far fewer.
constexpr int kMostBlocks = 32;

constexpr std::string_view kNginxCombined =
    "$remote_addr - $remote_user [$time_local] \"$request\" $status $body_bytes_sent \"$http_referer\" "
    "\"$http_user_agent\"";

struct Variable {
  std::string_view name, value;
};
// All others are a dash, as they are when they have no value.
constexpr Variable kVariables[] = {
    {"remote_addr", V::kClient},
    {"remote_user", "-"},
    {"time_local", V::kStamp},
    {"time_iso8601", "2026-03-05T12:34:56+00:00"},
    {"msec", "1772714096.123"},
    {"request", V::kRequest},
    {"request_method", "GET"},
    {"request_uri", V::kTarget},
    {"uri", V::kTarget},
    {"server_protocol", "HTTP/1.1"},
    {"scheme", "https"},
    {"status", V::kStatus},
    {"body_bytes_sent", V::kBytes},
    {"bytes_sent", V::kBytes},
    {"request_length", "512"},
    {"request_time", "0.005"},
    {"upstream_response_time", "0.004"},
    {"upstream_addr", "127.0.0.1:9000"},
    {"upstream_status", V::kStatus},
    {"http_referer", V::kReferrer},
    {"http_user_agent", V::kAgent},
    {"host", V::kHost},
    {"http_host", V::kHost},
    {"server_name", V::kHost},
    {"server_port", "443"},
    {"hostname", V::kHost},
    {"proxy_protocol_addr", V::kOtherAddress},
    {"realip_remote_addr", V::kOtherAddress},
    {"http_x_forwarded_for", V::kOtherAddress},
    {"http_x_real_ip", V::kOtherAddress},
    {"http_cf_connecting_ip", V::kOtherAddress},
    {"proxy_add_x_forwarded_for", V::kOtherAddress},
    {"gzip_ratio", "2.10"},
    {"connection", "17"},
    {"connection_requests", "1"},
    {"pipe", "."},
};

struct NginxLog {
  std::vector<std::string> words;  // Of its directive.
  ConfigPlace at;
};

struct NginxLevel {
  enum class Kind { kMain, kHttp, kServer, kLocation, kOther } kind = Kind::kMain;
  ConfigPlace at;
  std::string location;                       // Of kLocation: what it matches.
  std::vector<std::string> names;             // Of kServer.
  std::optional<std::vector<NginxLog>> logs;  // Its own; empty when it has those of the level around it.
  std::vector<NginxLevel> inner;
};

NginxLevel::Kind KindOf(const NginxLevel& outer, const std::string& word) {
  using K = NginxLevel::Kind;
  if (outer.kind == K::kMain && word == "http") return K::kHttp;
  if (outer.kind == K::kHttp && word == "server") return K::kServer;
  const bool in_server = outer.kind == K::kServer || outer.kind == K::kLocation;
  if (in_server && (word == "location" || word == "if" || word == "limit_except")) return K::kLocation;
  return K::kOther;
}

class NginxReader {
 public:
  NginxReader(const ConfigTree& tree, const std::string& file, FoundSites& found)
      : reader_(tree, found.problems), prefix_(FolderOfPath(file)) {}

  bool Read(const std::string& file, NginxLevel& main) {
    return reader_.Begin(file, [&](const std::string& path, const std::string& bytes) { File(path, bytes, main); });
  }
  const std::map<std::string, std::string>& Formats() const { return formats_; }
  ConfigReader& Reader() { return reader_; }

 private:
  void File(const std::string& path, const std::string& bytes, NginxLevel& level) {
    NginxWords words(bytes);
    Block(path, words, level);
  }
  void Block(const std::string& path, NginxWords& words, NginxLevel& level);
  void Open(const ConfigPlace& at, NginxWords& words, NginxLevel& level, const NginxDirective& d);
  void Take(const ConfigPlace& at, const NginxDirective& d, NginxLevel& level);

  ConfigReader reader_;
  std::string prefix_;  // The folder that includes are relative to.
  int nested_ = 0;
  std::map<std::string, std::string> formats_;
};

void NginxReader::Block(const std::string& path, NginxWords& words, NginxLevel& level) {
  using E = NginxDirective::End;
  for (;;) {
    const NginxDirective d = words.Next();
    const ConfigPlace at{path, d.line};
    if (d.end == E::kPlain) {
      Take(at, d, level);
    } else if (d.end == E::kBlock) {
      Open(at, words, level, d);
    } else {
      if (d.end == E::kFile && !d.words.empty()) reader_.Problem(at, "'" + d.words[0] + "' has no end");
      return;
    }
  }
}

void NginxReader::Open(const ConfigPlace& at, NginxWords& words, NginxLevel& level, const NginxDirective& d) {
  const std::string word = d.words.empty() ? "" : d.words[0];
  if (word.ends_with("_by_lua_block") || word == "perl_set") return words.SkipProgram();
  if (nested_ >= kMostBlocks) {
    reader_.Problem(at, "blocks stand " + std::to_string(kMostBlocks) + " deep; this one is left out");
    return words.SkipProgram();
  }
  NginxLevel inner;
  inner.kind = KindOf(level, word);
  inner.at = at;
  if (d.words.size() > 1) inner.location = d.words.back();
  ++nested_;
  Block(at.file, words, inner);
  --nested_;
  if (inner.kind != NginxLevel::Kind::kOther) level.inner.push_back(std::move(inner));
}

void NginxReader::Take(const ConfigPlace& at, const NginxDirective& d, NginxLevel& level) {
  if (d.words.size() < 2) return;
  const std::string& word = d.words[0];
  if (word == "include") {
    reader_.Include(at, PathFrom(prefix_, d.words[1]), false,
                    [&](const std::string& path, const std::string& bytes) { File(path, bytes, level); });
  } else if (word == "log_format" && level.kind == NginxLevel::Kind::kHttp) {
    std::string format;
    for (size_t i = 2; i < d.words.size(); ++i) {
      if (i > 2 || !StartsWith(d.words[i], "escape=")) format += d.words[i];
    }
    formats_[d.words[1]] = format;
  } else if (word == "access_log" && level.kind != NginxLevel::Kind::kOther) {
    if (!level.logs) level.logs.emplace();
    level.logs->push_back({d.words, at});
  } else if (word == "server_name" && level.kind == NginxLevel::Kind::kServer) {
    level.names.insert(level.names.end(), d.words.begin() + 1, d.words.end());
  }
}

// A name that a person would know the site by; empty if it is none.
std::string NameOf(std::string_view name) {
  if (StartsWith(name, "*.")) name.remove_prefix(2);
  if (StartsWith(name, ".")) name.remove_prefix(1);
  const bool pattern = name.find_first_of("~*$^\\ ") != std::string_view::npos || name == "_";
  return pattern ? std::string() : std::string(name);
}

class NginxSites {
 public:
  NginxSites(NginxReader& reader, const std::string& conf, const std::string& machine, FoundSites& found)
      : reader_(reader), machine_(machine), found_(found) {
    const bool packaged = conf == "/etc/nginx";
    prefix_ = packaged ? "/usr/share/nginx" : FolderOfPath(conf);
    log_folder_ = packaged ? "/var/log/nginx" : prefix_ + "/logs";
  }

  void Tell(const NginxLevel& main) {
    for (const NginxLevel& http : main.inner) {
      if (http.kind != NginxLevel::Kind::kHttp) continue;
      for (const NginxLevel& server : http.inner) Server(http, server);
    }
  }

 private:
  void Server(const NginxLevel& http, const NginxLevel& server) {
    std::vector<std::string> names;
    for (const std::string& name : server.names) {
      if (const std::string known = NameOf(name); !known.empty()) names.push_back(known);
    }
    if (names.empty()) names.push_back(machine_);
    const auto& logs = server.logs ? server.logs : http.logs;
    if (logs) {
      for (const NginxLog& log : *logs) Log(log, names[0], server.at);
    } else {
      Log({{"access_log", log_folder_ + "/access.log"}, server.at}, names[0], server.at);
    }
    Locations(server, names[0]);
  }

  // A log of a part of a site is a site of its own: its visits are in no other log.
  void Locations(const NginxLevel& outer, const std::string& domain) {
    for (const NginxLevel& inner : outer.inner) {
      const bool plain = StartsWith(inner.location, "/") && inner.location.find_first_of("^$*\\(") == std::string::npos;
      const auto logs = inner.logs.value_or(std::vector<NginxLog>());
      for (const NginxLog& log : logs) {
        if (log.words[1] == "off") continue;
        if (plain) {
          Log(log, domain + inner.location, inner.at);
        } else {
          reader_.Reader().Problem(log.at, "the log of a part of " + domain + " is left out");
        }
      }
      Locations(inner, domain);
    }
  }

  void Log(const NginxLog& log, const std::string& domain, const ConfigPlace& block);
  void TakeOptions(const NginxLog& log, FoundSite& site) const;
  std::string LineToAdd(const std::string& domain) const {
    return "access_log " + log_folder_ + "/" + ReplaceAll(domain, "/", "-") + ".access.log combined;";
  }

  NginxReader& reader_;
  const std::string& machine_;
  FoundSites& found_;
  std::string prefix_, log_folder_;
};

void NginxSites::TakeOptions(const NginxLog& log, FoundSite& site) const {
  for (size_t i = 3; i < log.words.size(); ++i) {
    const std::string& option = log.words[i];
    if (option == "gzip" || StartsWith(option, "gzip=")) {
      site.problem = "the log is packed by '" + option + "'";
    } else if (StartsWith(option, "buffer=") && site.notes.empty()) {
      site.notes.push_back("with '" + option + "' visitors show late; leave it out");
    } else if (StartsWith(option, "if=")) {
      site.notes.push_back("only some of the requests are logged: '" + option + "'");
    }
  }
}

void NginxSites::Log(const NginxLog& log, const std::string& domain, const ConfigPlace& block) {
  const std::string& path = log.words[1];
  FoundSite site{.server = "nginx", .domain = domain};
  site.where = log.at.Text();
  site.advice = "write into the server's block (" + block.Text() + "): " + LineToAdd(domain);
  site.format = log.words.size() > 2 ? log.words[2] : "combined";
  const auto format = reader_.Formats().find(site.format);
  if (format != reader_.Formats().end()) {
    site.sample = NginxSample(format->second);
  } else if (site.format == "combined") {
    site.sample = NginxSample(kNginxCombined);
  } else {
    site.problem = "there is no log_format " + site.format;
  }
  if (path == "off") {
    site.format.clear();
    site.problem = "its access_log is off";
  } else if (StartsWith(path, "syslog:") || StartsWith(path, "memory:") || StartsWith(path, "/dev/")) {
    site.problem = "the log is not a file: " + path;
  } else if (Contains(path, "$")) {
    site.problem = "the name of the log holds a variable: " + path;
  } else {
    site.log = PathFrom(prefix_, path);
    TakeOptions(log, site);
  }
  AddFound(found_.sites, std::move(site));
}

}  // namespace

std::string NginxSample(std::string_view format) {
  std::string line;
  while (!format.empty()) {
    const size_t mark = format.find('$');
    line += format.substr(0, mark);
    if (mark == std::string_view::npos) break;
    format.remove_prefix(mark + 1);
    const bool braces = StartsWith(format, "{");
    if (braces) format.remove_prefix(1);
    const auto part = [](char c) { return IsDigit(c) || c == '_' || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z'); };
    const auto end = std::find_if_not(format.begin(), format.end(), part);
    const std::string_view name = format.substr(0, static_cast<size_t>(end - format.begin()));
    const auto* known =
        std::find_if(std::begin(kVariables), std::end(kVariables), [&](const Variable& v) { return v.name == name; });
    line += known == std::end(kVariables) ? "-" : known->value;
    format.remove_prefix(name.size());
    if (braces && StartsWith(format, "}")) format.remove_prefix(1);
  }
  return line;
}

bool FindNginxSites(const ConfigTree& tree, const std::string& file, const std::string& machine, FoundSites& found) {
  NginxReader reader(tree, file, found);
  NginxLevel main;
  if (!reader.Read(file, main)) return false;
  NginxSites(reader, FolderOfPath(file), machine, found).Tell(main);
  return true;
}

}  // namespace vantry
