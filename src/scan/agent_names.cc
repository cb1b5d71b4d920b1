#include "scan/agent_names.h"

#include <algorithm>

#include "core/agent_text.h"
#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kMostOfAPart = 30, kMostOfASpider = 60;
constexpr std::string_view kNoName = "Other";
constexpr std::string_view kSpiderMaker = "Spider";

// W3C logs have "+" for blanks; classic reading of NCSA lines leaves a quotation mark in front.
AgentText Plain(std::string_view agent) {
  AgentText plain;
  const bool pluses = !Contains(agent, " ");
  for (const char c : agent.substr(0, AgentNames::kMostBytes)) {
    if (c == '"') continue;
    plain.text += c == '+' && pluses ? ' ' : c;
  }
  plain.lower = Lower(plain.text);
  return plain;
}

// Also what a list that somebody has edited holds.
std::string Cut(std::string text, size_t most = kMostOfAPart) {
  text.resize(std::min(text.size(), most));
  return std::string(Trim(text));
}

std::string FirstWord(std::string_view text) {
  text = Trim(text);
  return Cut(std::string(text.substr(0, text.find(' '))));
}

bool IsNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

// The first number says enough where releases are numbered upwards; of Windows 8.1, Android 4.4 and iOS 9.3 the second
// does too. Build numbers say nothing to people.
std::string SystemVersion(const std::string& version, const std::string& minor) {
  if (!IsNumber(version)) return version;
  if (version.size() > 4) return {};
  const bool both = version.size() == 1 && IsNumber(minor) && minor != "0";
  return both ? version + "." + minor : version;
}

void AddSystem(const AgentMatch& match, BrowserParts& parts) {
  parts.system = Cut(match.Result(0, 1));
  if (parts.system == kNoName) parts.system.clear();
  if (parts.system == "Mac OS X") {
    parts.system = "macOS";  // Every browser of today calls it 10.15.
  } else if (!parts.system.empty()) {
    parts.system_version = SystemVersion(Cut(match.Result(1, 2)), Cut(match.Result(2, 3)));
  }
}

// Only what names a thing: "Generic Smartphone", "Mac" and the "K" of every phone say nothing more than the system.
void AddDevice(const AgentMatch& match, BrowserParts& parts) {
  const std::string device = Cut(match.Result(0, 1));
  const std::string maker = match.Result(1, 0);
  if (maker.empty() || StartsWith(maker, "Generic") || device.size() < 3) return;
  if (device != "Mac" && !StartsWith(device, "Generic")) parts.device = device;
}

}  // namespace

const AgentName& AgentNames::NameOf(std::string_view agent) {
  return names_.Get(agent.substr(0, kMostBytes), [this](std::string_view text) { return WorkOut(text); });
}

AgentName AgentNames::WorkOut(std::string_view agent) {
  const AgentText plain = Plain(agent);
  if (Contains(plain.lower, "vantry")) return {"VT", ""};
  if (const auto spider = BestSpider(patterns_, rules_.spiders, plain)) {
    const std::string name = Cut(spider->Result(0, 0), kMostOfASpider);
    return {name, SpiderText(name, Cut(spider->Result(1, 0)))};
  }
  BrowserParts parts;
  const auto browser = FirstMatch(patterns_, rules_.browsers, plain);
  if (browser) parts.browser = Cut(browser->Result(0, 1));
  if (parts.browser == kNoName) parts.browser.clear();
  const auto device = FirstMatch(patterns_, rules_.devices, plain);
  if (device && device->Result(1, 0) == kSpiderMaker) {
    const std::string name = parts.browser.empty() ? FirstWord(plain.text) : parts.browser;
    return {name, SpiderText(name, "robot")};
  }
  if (parts.browser.empty()) return {FirstWord(plain.text), ""};
  if (const std::string version = browser->Result(1, 2); IsNumber(version)) parts.browser += " " + Cut(version);
  if (const auto system = FirstMatch(patterns_, rules_.systems, plain)) AddSystem(*system, parts);
  if (device) AddDevice(*device, parts);
  return {BrowserText(parts), ""};
}

}  // namespace vantry
