#pragma once

#include "platform/tds_job.h"
#include "platform/workers.h"
#include "ports/sql_logon.h"

namespace vantry {

// Logons through FreeTDS, one at a time, in a thread. A QCoreApplication must exist. The end of the object waits two
// seconds for a logon that is under way and leaves it to itself then: nothing can stop it.
class TdsLogon final : public SqlLogon {
 public:
  static constexpr int kTimeoutSeconds = 30, kLongestTimeoutSeconds = 600;

  explicit TdsLogon(int timeout_s = kTimeoutSeconds);

  void LogOn(SqlServerLogin login, SqlLogonDone done) override;

 private:
  struct TdsWork final : Work {
    TdsJob job;
    void Run() override { RunTdsJob(job); }
    void GiveUp() override {}
  };

  Status Prepare(SqlServerLogin login, TdsJob& job) const;

  int timeout_s_;
  Workers workers_{1};
};

}  // namespace vantry
