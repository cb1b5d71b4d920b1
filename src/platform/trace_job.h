// One hop of a route, without a loop: what a worker thread does.
#pragma once

#include "platform/stoppable.h"
#include "ports/trace_route.h"

namespace vantry {

// Belongs to one thread at a time, but for `stop`.
struct TraceJob {
  HopRequest request;
  StopSign stop;

  HopAnswer answer;
};

// Sends UDP packets that only so many machines pass on, and waits for the word of the last one; this needs no right.
// Throws nothing.
void RunTraceJob(TraceJob& job);

}  // namespace vantry
