// Sockets that ask hosts for an answer and are told what became of their packets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/net_address.h"

namespace vantry {

// Asks the system for the time to live of what arrives, and for the errors that others report.
void WantAnswers(int fd, bool v6);
void SetTimeToLive(int fd, bool v6, int hops);

struct Arrival {
  std::string bytes;
  NetAddress from;
  int32_t ttl = 0;  // 0 when it is not known.
};
// What has arrived; nothing when nothing has. Does not wait.
std::optional<Arrival> TakeArrival(int fd);

// A packet that did not arrive, by the word of somebody on the way or of this machine.
struct Refusal {
  bool is_local = false;
  uint8_t type = 0, code = 0;  // Of the ICMP message.
  int error = 0;               // As errno.
  NetAddress from;             // Who says so; none when it is this machine.
  int32_t ttl = 0;
  NetAddress to;  // Whom the packet was for, with its port.
};
std::optional<Refusal> TakeRefusal(int fd, bool v6);

}  // namespace vantry
