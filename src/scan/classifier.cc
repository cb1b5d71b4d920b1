#include "scan/classifier.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

struct BuiltInSpider {
  std::string_view token;  // Upper case.
  std::string_view name;   // Empty: the agent text unchanged.
};

constexpr BuiltInSpider kSpiders[] = {
    {"SCOOTER", "AltaVista"},
    {"MERCATOR", "AltaVista"},
    {"SLURP", "Inktomi"},
    {"INKTOMI", "Inktomi"},
    {"GOOGLE", "Google"},
    {"GULLIVER", "NorthernLight"},
    {"INTERNETSEER", "InternetSeer"},
    {"JEEVES", "Ask Jeeves"},
    {"LYCOS", "Lycos"},
    {"INFOSEEK", "InfoSeek"},
    {"ARCHITEXTSPIDER", "Excite"},
    {"REALNAMES", "Realnames"},
    {"PICSEARCH", "PicSearch"},
    {"DIRECTHIT", "DirectHit"},
    {"ROBOZILLA", "Open Directory"},
    {"SITECHECK", "SiteCheck"},
    {"PINGALINK", "PingALink"},
    {"MOZILLA/4.72 [EN] (X11; U; NETBSD 1.4.2 I386; NAV)", "Inktomi"},
    {"MIRAGOROBOT", "Mirago"},
    {"ROBOT", ""},
    {"SPIDER", ""},
    {"CRAWLER", ""},
    {"ESISMART", "All Others"},
    {"MAXBOT", "All Others"},
    {".WHATUSEEK.COM", "All Others"},
    {"ESISMARTSPIDER", "All Others"},
    {"FAST-", "All Others"},
    {"IA_ARCHIVER", "All Others"},
    {"WEBTOP", "All Others"},
    {"MUSCATFERRET", "All Others"},
};

std::string At(std::string_view text, size_t place) {
  return place < text.size() ? std::string(1, text[place]) : std::string();
}

bool HasLowerCase(std::string_view text) {
  for (char c : text) {
    if (c >= 'a' && c <= 'z') return true;
  }
  return false;
}

// Cuts the next item off a data file's text: leading blanks are passed over, a quoted item runs to its closing quote,
// any other to the next comma or line end.
std::string_view NextItem(std::string_view& rest) {
  while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t')) rest.remove_prefix(1);
  std::string_view item;
  if (!rest.empty() && rest.front() == '"') {
    rest.remove_prefix(1);
    const size_t close = rest.find('"');
    item = rest.substr(0, close);
    rest.remove_prefix(close == std::string_view::npos ? rest.size() : close + 1);
    rest.remove_prefix(std::min(rest.find_first_of(",\r\n"), rest.size()));
  } else {
    const size_t end = std::min(rest.find_first_of(",\r\n"), rest.size());
    item = rest.substr(0, end);
    rest.remove_prefix(end);
  }
  if (!rest.empty()) {
    const bool pair = rest.front() == '\r' && rest.size() > 1 && rest[1] == '\n';
    rest.remove_prefix(pair ? 2 : 1);
  }
  return item;
}

}  // namespace

std::string SelectBrowser(std::string_view agent) {
  const std::string u = Upper(Trim(agent));
  if (const size_t p = u.find("MSIE"); p != std::string::npos) return "IE" + At(u, p + 5);
  if (Contains(u, "OPERA")) return "OP";
  if (Contains(u, "MSPROXY")) return "MSProxy";
  if (const size_t q = u.find("MOZILLA/"); q != std::string::npos) {
    return u.find('+', q) == std::string::npos ? std::string(agent) : "NS" + At(u, 8);
  }
  if (const size_t c = u.find("COMPATIBLE;"); c != std::string::npos) {
    // An old rule, kept as it is: the result starts inside the word.
    if (const size_t e = u.find(';', c + 1); e != std::string::npos) return u.substr(c + 1, e - c);
  }
  if (Contains(u, "VANTRY")) return "VT";
  return std::string(agent);
}

std::string KnownSpider(std::string_view agent) {
  const std::string u = Upper(agent);
  for (const BuiltInSpider& row : kSpiders) {
    if (Contains(u, row.token)) return std::string(row.name.empty() ? agent : row.name);
  }
  return {};
}

const AgentName& Classifier::ClassicName(std::string_view agent) {
  const auto work_out = [](std::string_view text) { return AgentName{SelectBrowser(text), KnownSpider(text)}; };
  if (agent.size() <= kMostRemembered) return classic_.Get(agent, work_out);
  long_ = work_out(agent);
  return long_;
}

void Classifier::IndexNewAgents() {
  for (; indexed_ < t_.UnknownAgents.size(); ++indexed_) {
    const UnknownAgent& pair = t_.UnknownAgents[indexed_];
    addresses_.insert(pair.IP);
    if (!HasLowerCase(pair.Agent)) upper_agents_.push_back(pair.Agent);
  }
}

std::string Classifier::SelectSpider(std::string_view agent, std::string_view ip, AgentNames* today) {
  std::string spider = today ? today->NameOf(agent).spider : ClassicName(agent).spider;
  if (!spider.empty() || agent.size() < 2) return spider;
  IndexNewAgents();
  if (addresses_.contains(std::string(ip))) return "Auto Detected";
  if (upper_agents_.empty()) return {};
  const std::string u = Upper(agent);
  for (const std::string& known : upper_agents_) {
    if (Contains(u, known)) return "Auto Detected";
  }
  return {};
}

bool Classifier::LearnAgent(std::string_view ip, std::string_view agent) {
  IndexNewAgents();
  if (addresses_.contains(std::string(ip))) return false;
  t_.UnknownAgents.push_back({std::string(ip), std::string(agent)});
  t_.UnknownAgentsDirty = true;
  return true;
}

std::vector<UnknownAgent> ParseRobotsCache(std::string_view bytes) {
  std::vector<UnknownAgent> pairs;
  while (!bytes.empty()) {
    const std::string_view item = Trim(NextItem(bytes));
    const size_t blank = item.find(' ');
    if (blank == std::string_view::npos) continue;
    const std::string_view agent = Trim(item.substr(blank + 1));
    if (agent.size() >= 2) pairs.push_back({std::string(item.substr(0, blank)), std::string(agent)});
  }
  return pairs;
}

Status ReadRobotsCache(Files& files, const std::string& ddf_path, LiveTables& tables) {
  tables.UnknownAgents.clear();
  tables.UnknownAgentsDirty = false;
  std::string bytes;
  Status status = files.Read(ddf_path + "robots.dat", bytes);
  if (status.ok()) tables.UnknownAgents = ParseRobotsCache(bytes);
  return status.fail == Fail::kNotFound ? Status::Ok() : status;
}

Status WriteRobotsCache(Files& files, const std::string& ddf_path, const LiveTables& tables) {
  if (!tables.UnknownAgentsDirty) return Status::Ok();
  std::string out;
  for (const UnknownAgent& pair : tables.UnknownAgents) {
    if (pair.Agent.size() > 2) out += pair.IP + " " + pair.Agent + "\r\n";
  }
  return files.Replace(ddf_path + "robots.dat", out);
}

}  // namespace vantry
