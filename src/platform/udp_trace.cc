#include "platform/udp_trace.h"

#include <chrono>
#include <utility>

namespace vantry {
namespace {

// For the look-up of a name, which has no limit of its own.
constexpr std::chrono::milliseconds kTraceGrace{15'000};

HopAnswer HopOutcome(const TraceJob& job, WorkEnd end) {
  if (end == WorkEnd::kDone) return job.answer;
  HopAnswer answer;
  answer.status = NoOutcome(end, job.request.host, "no answer in time");
  return answer;
}

}  // namespace

int64_t UdpTrace::Probe(const HopRequest& request, HopDone done) {
  auto work = std::make_shared<TraceWork>();
  work->job.request = request;
  return static_cast<int64_t>(
      workers_.Start(work, std::chrono::milliseconds(request.timeout_ms) + kTraceGrace,
                     [work, done = std::move(done)](WorkEnd end) { done(HopOutcome(work->job, end)); }));
}

}  // namespace vantry
