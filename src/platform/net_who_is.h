#pragma once

#include "platform/rdap_job.h"
#include "platform/who_is_job.h"
#include "platform/workers.h"

namespace vantry {

// Registries on the internet, each question in a thread of its own. A QCoreApplication must exist, and the object must
// be made before other threads are.
class NetWhoIs final : public WhoIs {
 public:
  static constexpr size_t kMostAtOnce = 16;

  explicit NetWhoIs(WhoIsLimits limits = {});

  int64_t Ask(const WhoIsQuestion& question, WhoIsDone done) override;
  int64_t AskRdap(const std::string& url, WhoIsDone done) override;
  void Stop(int64_t request) override { workers_.Forget(static_cast<uint64_t>(request)); }

 private:
  struct WhoIsWork final : Work {
    WhoIsJob job;
    void Run() override { RunWhoIsJob(job); }
    void GiveUp() override { job.stop.Set(); }
  };
  struct RdapWork final : Work {
    RdapJob job;
    void Run() override { RunRdapJob(job); }
    void GiveUp() override { job.cancelled = true; }
  };

  WhoIsLimits limits_;
  TrustedAuthorities authorities_;
  Workers workers_{kMostAtOnce};
};

}  // namespace vantry
