// Regular expressions of the standard library: enough for the few that tests write themselves.
#pragma once

#include <algorithm>
#include <regex>

#include "ports/patterns.h"

namespace vantry {

struct StdPatterns final : Patterns {
  struct StdPattern final : Pattern {
    std::regex regex;
    bool Find(std::string_view text, std::span<std::string_view> groups) const override {
      std::match_results<std::string_view::const_iterator> found;
      if (!std::regex_search(text.begin(), text.end(), found, regex)) return false;
      for (size_t i = 0; i < groups.size(); ++i) {
        groups[i] = i + 1 < found.size() && found[i + 1].matched
                        ? std::string_view(found[i + 1].first, found[i + 1].second)
                        : std::string_view();
      }
      return true;
    }
  };
  std::string problem;
  int compiled = 0;
  std::string Problem() const override { return problem; }
  std::unique_ptr<Pattern> Compile(const std::string& expression) override {
    ++compiled;
    auto pattern = std::make_unique<StdPattern>();
    try {
      pattern->regex = std::regex(expression);
    } catch (const std::regex_error&) {
      return nullptr;
    }
    return pattern;
  }
};

}  // namespace vantry
