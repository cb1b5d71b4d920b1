// One ping, without a loop: what a worker thread does.
#pragma once

#include <string>

#include "platform/net_address.h"
#include "platform/stoppable.h"
#include "ports/ping.h"

namespace vantry {

// Belongs to one thread at a time, but for `stop`.
struct PingJob {
  PingRequest request;
  std::string program = "ping";  // By its path, or to be found on PATH.
  StopSign stop;

  PingAnswer answer;
};

// Looks the name up and asks by the first road that is open to this process: an ICMP socket of datagrams, a raw one,
// the program `ping`, and a UDP packet to a port where nobody listens. Throws nothing.
void RunPingJob(PingJob& job);

}  // namespace vantry
