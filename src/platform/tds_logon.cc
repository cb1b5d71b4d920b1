#include "platform/tds_logon.h"

#include <chrono>
#include <utility>

#include "platform/sql_server_name.h"

namespace vantry {
namespace {

// For what db-lib's own limit does not count: name look-ups, and answers that come in drops.
constexpr std::chrono::seconds kLogonGrace{5};

Status LogonOutcome(const TdsJob& job, WorkEnd end) {
  if (end == WorkEnd::kDone) return job.result;
  return NoOutcome(end, job.server, "the logon did not end in time");
}

}  // namespace

TdsLogon::TdsLogon(int timeout_s) : timeout_s_(timeout_s) {
  StartTds();
}

Status TdsLogon::Prepare(SqlServerLogin login, TdsJob& job) const {
  if (Status status = ReadSqlServerName(login.server, job.server); !status.ok()) return status;
  if (workers_.Running() > 0) {
    return Status::Error(Fail::kIo, job.server + ": the logon before has not come to an end yet");
  }
  if (!login.trusted && login.user.empty()) {
    return Status::Error(Fail::kBadData, job.server + ": SQLServerUser is empty");
  }
  job.trusted = login.trusted;
  job.user = std::move(login.user);
  job.password = std::move(login.password);
  job.limit_s = timeout_s_;
  return Status::Ok();
}

void TdsLogon::LogOn(SqlServerLogin login, SqlLogonDone done) {
  auto work = std::make_shared<TdsWork>();
  work->job.result = Prepare(std::move(login), work->job);
  const bool good = work->job.result.ok();
  workers_.Start(good ? work : nullptr, std::chrono::seconds(timeout_s_) + kLogonGrace,
                 [work, done = std::move(done)](WorkEnd end) {
                   const Status status = LogonOutcome(work->job, end);
                   done(status, status.ok() ? work->job.login : "");
                 });
}

}  // namespace vantry
