// One question to a who-is server, without a loop: what a worker thread does.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/stoppable.h"
#include "ports/who_is.h"

namespace vantry {

struct WhoIsLimits {
  int total_ms = 20'000, connect_ms = 8'000;
  size_t bytes = 1 << 20;
  // Also a referral may lead to a machine of this network; for tests.
  bool allows_local = false;
};

// Belongs to one thread at a time, but for `stop`.
struct WhoIsJob {
  WhoIsQuestion question;
  WhoIsLimits limits;
  StopSign stop;

  WhoIsAnswer answer;
};

// A server as it is written, with ":" and a port or without. False when that is not one.
bool ReadWhoIsServer(std::string_view text, std::string& host, uint16_t& port);

// Throws nothing.
void RunWhoIsJob(WhoIsJob& job);

}  // namespace vantry
