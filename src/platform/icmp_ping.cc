#include "platform/icmp_ping.h"

#include <chrono>

namespace vantry {
namespace {

// For the look-up of a name, which has no limit of its own.
constexpr std::chrono::milliseconds kPingGrace{15'000};

PingAnswer PingOutcome(const PingJob& job, WorkEnd end) {
  if (end == WorkEnd::kDone) return job.answer;
  PingAnswer answer;
  answer.status = NoOutcome(end, job.request.host, "no answer in time");
  return answer;
}

}  // namespace

int64_t IcmpPing::Send(const PingRequest& request, PingDone done) {
  auto work = std::make_shared<PingWork>();
  work->job.request = request;
  work->job.program = program_;
  return static_cast<int64_t>(
      workers_.Start(work, std::chrono::milliseconds(request.timeout_ms) + kPingGrace,
                     [work, done = std::move(done)](WorkEnd end) { done(PingOutcome(work->job, end)); }));
}

}  // namespace vantry
