// The program `ping`, which may do what this process may not.
#pragma once

#include <cstdint>
#include <string>

#include "platform/stoppable.h"

namespace vantry {

struct PingCall {
  std::string program;
  std::string address;  // Numeric, so that nothing of it is an option.
  int32_t bytes = 0;
  StopSign::Time until;
};

enum class PingEnd { kUnable, kSilent, kReplied };

// Runs it for one ping, without a shell, and ends it when the time is up. kUnable: it is not there, or may not ask
// either.
PingEnd RunPing(const PingCall& call, const StopSign& stop, std::string& output);

}  // namespace vantry
