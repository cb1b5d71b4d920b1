#include "scan/agent_rules.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

bool HasWord(const AgentRule& rule, const AgentText& agent) {
  return rule.words.empty() || std::any_of(rule.words.begin(), rule.words.end(),
                                           [&](const auto& word) { return Contains(agent.lower, word); });
}

bool Fits(Patterns& patterns, AgentRule& rule, const AgentText& agent, AgentMatch& match) {
  if (rule.refused || !HasWord(rule, agent)) return false;
  if (!rule.pattern) {
    rule.pattern = patterns.Compile(rule.expression);
    rule.refused = !rule.pattern;
    if (rule.refused) return false;
  }
  if (!rule.pattern->Find(agent.text, match.groups)) return false;
  match.rule = &rule;
  return true;
}

AgentRule ParseRule(std::string_view line) {
  AgentRule rule;
  const auto fields = Split(line, '\t');
  if (!fields[0].empty()) {
    for (const std::string_view word : Split(fields[0], '|')) rule.words.emplace_back(word);
  }
  if (fields.size() > 1) rule.expression = fields[1];
  for (size_t i = 2; i < std::min(fields.size(), 2 + AgentRule::kMostResults); ++i) rule.results[i - 2] = fields[i];
  return rule;
}

AgentRuleList* Section(std::string_view line, AgentRules& rules) {
  if (line == "[browser]") return &rules.browsers;
  if (line == "[system]") return &rules.systems;
  if (line == "[device]") return &rules.devices;
  return line == "[spider]" ? &rules.spiders : nullptr;
}

Status ReadList(Files& files, const std::vector<std::string>& folders, const std::string& name, AgentRules& rules) {
  std::string looked;
  for (const std::string& folder : folders) {
    std::string bytes;
    const Status status = files.Read(folder + name, bytes);
    if (status.ok()) {
      if (ParseAgentRules(bytes, rules) > 0) return status;
      return Status::Error(Fail::kBadData, folder + name + " holds no rule");
    }
    if (status.fail != Fail::kNotFound) return status;
    looked += (looked.empty() ? "" : " and ") + folder;
  }
  return Status::Error(Fail::kNotFound, name + " is missing; looked for in " + looked);
}

}  // namespace

std::string AgentMatch::Result(size_t number, size_t otherwise) const {
  const std::string& form = rule->results[number];
  if (form.empty()) return otherwise > 0 ? std::string(groups[otherwise - 1]) : std::string();
  std::string text;
  for (size_t i = 0; i < form.size(); ++i) {
    const char digit = form[i] == '$' && i + 1 < form.size() ? form[i + 1] : '0';
    if (digit < '1' || digit > '9') {
      text += form[i];
    } else {
      text += groups[static_cast<size_t>(digit - '1')];
      ++i;
    }
  }
  return std::string(Trim(text));
}

std::optional<AgentMatch> FirstMatch(Patterns& patterns, AgentRuleList& rules, const AgentText& agent) {
  AgentMatch match;
  for (AgentRule& rule : rules) {
    if (Fits(patterns, rule, agent, match)) return match;
  }
  return std::nullopt;
}

std::optional<AgentMatch> BestSpider(Patterns& patterns, AgentRuleList& rules, const AgentText& agent) {
  std::optional<AgentMatch> best;
  const auto rank = [](const AgentRule& rule) {
    return rule.results[0].size() + (rule.results[1] == "program" ? 0 : 1'000);
  };
  AgentMatch match;
  for (AgentRule& rule : rules) {
    if (best && rank(rule) <= rank(*best->rule)) continue;
    if (Fits(patterns, rule, agent, match)) best = match;
  }
  return best;
}

size_t ParseAgentRules(std::string_view bytes, AgentRules& rules) {
  AgentRuleList* list = nullptr;
  size_t count = 0;
  for (std::string_view line : Split(bytes, '\n')) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (AgentRuleList* section = Section(line, rules)) {
      list = section;
      continue;
    }
    // Before the first section stand notes.
    if (!list || line.empty()) continue;
    AgentRule rule = ParseRule(line);
    if (rule.expression.empty()) continue;
    list->push_back(std::move(rule));
    ++count;
  }
  return count;
}

Status ReadAgentRules(Files& files, const std::vector<std::string>& folders, AgentRules& rules) {
  for (const char* name : {"Browsers.txt", "Spiders.txt"}) {
    if (Status status = ReadList(files, folders, name, rules); !status.ok()) return status;
  }
  return Status::Ok();
}

}  // namespace vantry
