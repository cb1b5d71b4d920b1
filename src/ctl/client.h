// Talks to a running program over its TCP port. No call lasts longer than its time-outs; every failure has a text that
// names host and port and says what to do.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace vantry {

struct Endpoint {
  std::string host;
  int port = 0;
  int connect_ms = 5'000;
  int read_ms = 10'000;  // Longest silence within an answer.
  // A descriptor that becomes readable when waiting shall end at once (kRefused); -1 for none.
  int stop_fd = -1;

  std::string Name() const;  // "host:port"
};

// Sends control lines ("@STATUS") one after the other over one connection. `replies` holds an answer for each, without
// its CR LF. kRefused when `stop_fd` ended it.
Status AskControl(const Endpoint& endpoint, const std::vector<std::string>& lines, std::vector<std::string>& replies);

// Asks for the list of visitors of all domains (empty) or of one. `reply` is the whole HTTP answer.
Status AskList(const Endpoint& endpoint, std::string_view domain, std::string& reply);

// kBadData when the program can't be asked for this domain.
Status CheckListDomain(std::string_view domain);

}  // namespace vantry
