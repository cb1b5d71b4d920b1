// What an agent text says by today's lists: a short browser text, and who a spider is and what it is for.
#pragma once

#include <string>
#include <string_view>

#include "core/remembered.h"
#include "scan/agent_rules.h"

namespace vantry {

struct AgentName {
  // "Firefox 131 on Windows 10"; a spider's name; an unknown agent's first word; "VT" for the program itself.
  std::string browser;
  std::string spider;  // "Googlebot (search)"; empty for no spider.
};

class AgentNames {
 public:
  // What follows in an agent text is not looked at. Longer than any that a browser sends.
  static constexpr size_t kMostBytes = 512;
  // Distinct agents that are remembered, at least; twice as many at most.
  static constexpr size_t kRemembered = 5'000;

  AgentNames(Patterns& patterns, AgentRules rules) : patterns_(patterns), rules_(std::move(rules)) {}

  // The agent as logged, with "+" for blanks or without. Each distinct one is worked out once while it is remembered.
  // Holds until the next call.
  const AgentName& NameOf(std::string_view agent);

 private:
  AgentName WorkOut(std::string_view agent);

  Patterns& patterns_;
  AgentRules rules_;
  Remembered<AgentName> names_{kRemembered};
};

}  // namespace vantry
