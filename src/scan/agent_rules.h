// Lists of rules that tell browsers, systems, devices and spiders by agent text: data/Browsers.txt and
// data/Spiders.txt.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"
#include "ports/files.h"
#include "ports/patterns.h"

namespace vantry {

// One row of a list. The first rule that fits decides.
struct AgentRule {
  static constexpr size_t kMostResults = 3;
  std::vector<std::string>
      words;  // In lower case. Without one of them the expression can't match; empty: always tried.
  std::string expression;
  std::array<std::string, kMostResults> results;  // Templates with "$1" to "$9"; what they are is the list's matter.

  // Compiled when a text first has one of the words: most rules never meet one.
  std::unique_ptr<Pattern> pattern;
  bool refused = false;  // The engine does not take the expression: the rule fits nothing.
};

// What a rule found.
struct AgentMatch {
  const AgentRule* rule = nullptr;
  std::array<std::string_view, 9> groups;  // Parts of the agent text.

  // The rule's result of this number, groups put in; the group `otherwise` (1-based) when the rule has no such result.
  std::string Result(size_t number, size_t otherwise) const;
};

using AgentRuleList = std::vector<AgentRule>;

struct AgentRules {
  // Results: family, version.    system, version, minor version.    device, maker.    name, purpose.
  AgentRuleList browsers, systems, devices, spiders;
};

// An agent text as rules see it.
struct AgentText {
  std::string text, lower;
};

// The first rule of the list that fits.
std::optional<AgentMatch> FirstMatch(Patterns& patterns, AgentRuleList& rules, const AgentText& agent);
// Of all that fit, the one whose first result is the longest: "Googlebot-Image" tells more than "Googlebot". A rule of
// the purpose "program" gives way to any other: a spider may name the library that it uses.
std::optional<AgentMatch> BestSpider(Patterns& patterns, AgentRuleList& rules, const AgentText& agent);

// Adds the rules in a list's bytes to those of their sections. Returns how many there are.
size_t ParseAgentRules(std::string_view bytes, AgentRules& rules);

// Reads Browsers.txt and Spiders.txt, each from the first of the folders that has it. The failure names what is missing
// and where it was looked for; `rules` is not to be used then.
Status ReadAgentRules(Files& files, const std::vector<std::string>& folders, AgentRules& rules);

}  // namespace vantry
