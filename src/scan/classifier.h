// What an agent text says: a short browser text and whether this is a spider, and the cache that learns agents which
// asked for robots.txt. Both are fixed chains of substring tests in which the first that hits decides.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/remembered.h"
#include "core/tables.h"
#include "ports/files.h"
#include "scan/agent_names.h"

namespace vantry {

// Short browser text: "IE" and a digit, "OP", "MSProxy", "NS" and a digit, "VT" for the program itself, else the agent.
std::string SelectBrowser(std::string_view agent);

// The name of a spider known by its agent text, empty for none.
std::string KnownSpider(std::string_view agent);

class Classifier {
 public:
  explicit Classifier(LiveTables& tables) : t_(tables) {}

  // What SelectBrowser and KnownSpider say. Holds until the next call.
  const AgentName& ClassicName(std::string_view agent);

  // A known spider's name, "Auto Detected" for an agent or address learnt before, empty for no spider. Which spiders
  // are known is for `today` to say, unless it is null.
  std::string SelectSpider(std::string_view agent, std::string_view ip, AgentNames* today = nullptr);

  // Learns a client that asked for robots.txt. False when its address was known already.
  bool LearnAgent(std::string_view ip, std::string_view agent);

 private:
  void IndexNewAgents();
  LiveTables& t_;
  // The two chains cost more than all else that a new visitor needs. Longer texts are worked out each time.
  static constexpr size_t kRemembered = 5'000, kMostRemembered = 512;
  Remembered<AgentName> classic_{kRemembered};
  AgentName long_;
  // UnknownAgents only grows; these follow it, so that a visitor is not compared with every agent ever learnt.
  size_t indexed_ = 0;
  std::unordered_set<std::string> addresses_;
  std::vector<std::string> upper_agents_;  // Those without a lower-case letter: no other can occur in upper-cased text.
};

// robots.dat: a line for each pair, address, blank, agent. A missing file leaves none and is not a failure.
Status ReadRobotsCache(Files& files, const std::string& ddf_path, LiveTables& tables);
// Writes the file when something was learnt; pairs whose agent has 2 characters or fewer stay out.
Status WriteRobotsCache(Files& files, const std::string& ddf_path, const LiveTables& tables);

// The pairs in the bytes of robots.dat. Items are separated by commas and line ends, as in a data file.
std::vector<UnknownAgent> ParseRobotsCache(std::string_view bytes);

}  // namespace vantry
