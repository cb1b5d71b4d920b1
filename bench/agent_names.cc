// What telling agents by today's lists costs: agent_names LISTS_FOLDER AGENTS_FILE. The file has an agent a line.
#include "scan/agent_names.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "core/text.h"
#include "platform/posix_files.h"
#include "platform/re2_patterns.h"

namespace {

double MicrosecondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
}

void Print(const char* what, std::vector<double> times) {
  std::sort(times.begin(), times.end());
  double sum = 0;
  for (const double t : times) sum += t;
  std::printf("%-34s mean %8.2f us, median %8.2f us, 99 %% %8.2f us, worst %8.2f us\n", what,
              sum / static_cast<double>(times.size()), times[times.size() / 2], times[times.size() * 99 / 100],
              times.back());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::vector<std::string> agents;
  std::ifstream file(argv[2]);
  for (std::string line; std::getline(file, line);) agents.push_back(line);
  if (agents.empty()) return 2;
  vantry::PosixFiles files;
  vantry::Re2Patterns patterns;
  vantry::AgentRules rules;
  auto begin = std::chrono::steady_clock::now();
  const vantry::Status status = ReadAgentRules(files, {argv[1]}, rules);
  std::printf("reading the lists %.0f us %s\n", MicrosecondsSince(begin), status.text.c_str());
  vantry::AgentNames names(patterns, std::move(rules));
  const auto measure = [&](const char* what, const std::string& mark) {
    std::vector<double> times;
    for (const std::string& agent : agents) {
      const std::string text = agent + mark;
      begin = std::chrono::steady_clock::now();
      (void)names.NameOf(text);
      times.push_back(MicrosecondsSince(begin));
    }
    Print(what, std::move(times));
  };
  measure("first of all, with compiling", "");
  measure("new agents", " (x)");
  measure("known agents", " (x)");
  agents.assign(100, std::string(vantry::AgentNames::kMostBytes - 4, 'a'));
  for (size_t i = 0; i < agents.size(); ++i)
    agents[i] = std::to_string(i) + vantry::ReplaceAll(agents[i], "aaaa", "bot(");
  measure("hostile agents", "");
  return 0;
}
