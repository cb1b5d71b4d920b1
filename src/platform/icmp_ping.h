#pragma once

#include <string>
#include <utility>

#include "platform/ping_job.h"
#include "platform/workers.h"

namespace vantry {

// Pings from this machine, each in a thread of its own. A QCoreApplication must exist.
class IcmpPing final : public Ping {
 public:
  static constexpr size_t kMostAtOnce = 16;

  // `program` takes part where this process may not open a socket.
  explicit IcmpPing(std::string program = "ping") : program_(std::move(program)) {}

  int64_t Send(const PingRequest& request, PingDone done) override;
  void Stop(int64_t request) override { workers_.Forget(static_cast<uint64_t>(request)); }

 private:
  struct PingWork final : Work {
    PingJob job;
    void Run() override { RunPingJob(job); }
    void GiveUp() override { job.stop.Set(); }
  };

  std::string program_;
  Workers workers_{kMostAtOnce};
};

}  // namespace vantry
