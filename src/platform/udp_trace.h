#pragma once

#include "platform/trace_job.h"
#include "platform/workers.h"

namespace vantry {

// Routes from this machine, each hop in a thread of its own. A QCoreApplication must exist.
class UdpTrace final : public TraceRoute {
 public:
  static constexpr size_t kMostAtOnce = 32;

  int64_t Probe(const HopRequest& request, HopDone done) override;
  void Stop(int64_t request) override { workers_.Forget(static_cast<uint64_t>(request)); }

 private:
  struct TraceWork final : Work {
    TraceJob job;
    void Run() override { RunTraceJob(job); }
    void GiveUp() override { job.stop.Set(); }
  };

  Workers workers_{kMostAtOnce};
};

}  // namespace vantry
