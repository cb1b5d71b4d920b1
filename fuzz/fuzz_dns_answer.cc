// What a name server answers, what an operator writes as a list of name servers, and what a log holds as an address.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/dns_answer.h"
#include "platform/dns_text.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string name = "unchanged";
  if (vantry::ReadHostName({data, size}, name) != 0) Require(name == "unchanged");
  Require(vantry::IsHostName(name) && name.size() <= 253 && vantry::ReverseName(name).empty());

  std::vector<vantry::NameServer> servers;
  if (vantry::ReadNameServers(text, 53, servers).ok()) {
    for (const vantry::NameServer& server : servers) {
      Require(server.port != 0 && !vantry::ReverseName(server.address).empty());
    }
  }
  const std::string reverse = vantry::ReverseName(text);
  Require(reverse.empty() || (vantry::IsHostName(reverse) && reverse.ends_with(".arpa")));
  return 0;
}
