#include "platform/net_who_is.h"

#include <chrono>
#include <utility>

namespace vantry {
namespace {

// For the look-up of a server's name, which has no limit of its own, and the pages that RDAP goes through.
constexpr std::chrono::milliseconds kWhoIsGrace{15'000};

WhoIsAnswer WhoIsOutcome(const WhoIsAnswer& answer, const std::string& server, WorkEnd end) {
  if (end == WorkEnd::kDone) return answer;
  WhoIsAnswer none;
  none.status = NoOutcome(end, server, "no answer in time");
  return none;
}

}  // namespace

NetWhoIs::NetWhoIs(WhoIsLimits limits) : limits_(limits), authorities_(SystemAuthorities()) {
  StartCurl();
}

int64_t NetWhoIs::Ask(const WhoIsQuestion& question, WhoIsDone done) {
  auto work = std::make_shared<WhoIsWork>();
  work->job.question = question;
  work->job.limits = limits_;
  return static_cast<int64_t>(workers_.Start(work, std::chrono::milliseconds(limits_.total_ms) + kWhoIsGrace,
                                             [work, done = std::move(done)](WorkEnd end) {
                                               done(WhoIsOutcome(work->job.answer, work->job.question.server, end));
                                             }));
}

int64_t NetWhoIs::AskRdap(const std::string& url, WhoIsDone done) {
  auto work = std::make_shared<RdapWork>();
  work->job.url = url;
  work->job.limit_ms = limits_.total_ms;
  work->job.allows_local = limits_.allows_local;
  work->job.authorities = authorities_;
  return static_cast<int64_t>(workers_.Start(
      work, std::chrono::milliseconds(limits_.total_ms) + kWhoIsGrace,
      [work, done = std::move(done)](WorkEnd end) { done(WhoIsOutcome(work->job.answer, "RDAP", end)); }));
}

}  // namespace vantry
