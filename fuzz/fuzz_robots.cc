// The bytes of robots.dat, and an agent text as a client sends it.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "scan/classifier.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const bool quoted = bytes.find('"') != std::string_view::npos;
  LiveTables tables;
  tables.UnknownAgents = ParseRobotsCache(bytes);
  for (const UnknownAgent& pair : tables.UnknownAgents) {
    if (pair.Agent.size() < 2 || pair.IP.find(' ') != std::string::npos) std::abort();
    // Only a quoted item contains separators.
    if (!quoted && pair.Agent.find_first_of(",\r\n") != std::string::npos) std::abort();
  }
  Classifier classifier(tables);
  (void)classifier.SelectSpider(bytes, "10.0.0.7");
  (void)SelectBrowser(bytes);
  if (tables.UnknownAgents.empty()) return 0;
  // An address that was learnt is a spider whatever it calls itself, and is not learnt twice.
  if (classifier.SelectSpider("zz", tables.UnknownAgents[0].IP).empty()) std::abort();
  if (classifier.LearnAgent(tables.UnknownAgents[0].IP, "x")) std::abort();
  return 0;
}
