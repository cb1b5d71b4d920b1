#include "platform/trace_job.h"

#include <chrono>
#include <cstring>
#include <string_view>

#include "platform/icmp_text.h"
#include "platform/probe_socket.h"

namespace vantry {
namespace {

using std::chrono::steady_clock;

// Each hop and each try has a port of its own, so that answers are told apart.
constexpr uint16_t kFirstPort = 33'434, kPortsOfATry = 256;
constexpr int kTries = 2;
constexpr std::string_view kPayload = "Vantry asks for the way to this host.";

class OneHop {
 public:
  OneHop(TraceJob& job, NetAddress target) : job_(job), target_(target), v6_(target.IsV6()) {}
  Status Run();

 private:
  Status Send(int fd, int attempt);
  // True when somebody has answered.
  bool Await(int fd, steady_clock::time_point until);
  bool TakeAnswer(int fd);
  void Answered(const NetAddress& from, uint16_t port);
  uint16_t PortOf(int attempt) const {
    return static_cast<uint16_t>(kFirstPort + job_.request.hop + attempt * kPortsOfATry);
  }

  TraceJob& job_;
  NetAddress target_;
  const bool v6_;
  steady_clock::time_point began_[kTries];
};

Status OneHop::Send(int fd, int attempt) {
  NetAddress to = target_;
  to.SetPort(PortOf(attempt));
  began_[attempt] = steady_clock::now();
  if (::sendto(fd, kPayload.data(), kPayload.size(), 0, to.Get(), to.size) >= 0) return Status::Ok();
  const int error = errno;
  // An error that an earlier packet has met is told once by the next call.
  if (TakeAnswer(fd) || ::sendto(fd, kPayload.data(), kPayload.size(), 0, to.Get(), to.size) >= 0) return Status::Ok();
  return Status::Error(Fail::kIo, job_.answer.target + ": " + std::strerror(error));
}

void OneHop::Answered(const NetAddress& from, uint16_t port) {
  using std::chrono::microseconds;
  const int attempt = port == PortOf(0) ? 0 : kTries - 1;
  job_.answer.address = from.Text();
  job_.answer.time_us = std::chrono::duration_cast<microseconds>(steady_clock::now() - began_[attempt]).count();
}

bool OneHop::TakeAnswer(int fd) {
  while (const auto refusal = TakeRefusal(fd, v6_)) {
    if (refusal->is_local || refusal->from.size == 0) {
      job_.answer.status = Status::Error(Fail::kIo, job_.answer.target + ": " + std::strerror(refusal->error));
      return true;
    }
    Answered(refusal->from, refusal->to.size > 0 ? refusal->to.Port() : PortOf(0));
    job_.answer.is_end = !IsTimeExceeded(v6_, refusal->type);
    const bool reached = IsPortUnreachable(v6_, refusal->type, refusal->code) && refusal->from.IsSameHost(target_);
    if (job_.answer.is_end && !reached) job_.answer.note = IcmpText(v6_, refusal->type, refusal->code);
    return true;
  }
  // Somebody does listen there.
  if (const auto arrival = TakeArrival(fd); arrival && arrival->from.IsSameHost(target_)) {
    Answered(arrival->from, arrival->from.Port());
    job_.answer.is_end = true;
    return true;
  }
  return false;
}

bool OneHop::Await(int fd, steady_clock::time_point until) {
  while (job_.stop.Wait(fd, POLLIN, until) == StopSign::Wake::kReady) {
    if (TakeAnswer(fd)) return true;
    // An error that stands in no queue is taken off here, or the wait would never end.
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
    if (steady_clock::now() >= until) return false;
  }
  return false;
}

// A silent hop is asked a second time: packets get lost.
Status OneHop::Run() {
  const Descriptor fd(::socket(target_.bytes.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd) return Status::Error(Fail::kIo, std::strerror(errno));
  WantAnswers(fd.get(), v6_);
  SetTimeToLive(fd.get(), v6_, job_.request.hop);
  const auto begin = steady_clock::now();
  for (int attempt = 0; attempt < kTries && !job_.stop.IsSet(); ++attempt) {
    if (Status sent = Send(fd.get(), attempt); !sent.ok()) return sent;
    const std::chrono::milliseconds share(job_.request.timeout_ms * (attempt + 1) / kTries);
    if (!job_.answer.address.empty() || Await(fd.get(), begin + share)) return job_.answer.status;
  }
  return Status::Ok();
}

}  // namespace

void RunTraceJob(TraceJob& job) {
  const Status status = Attempt([&] {
    NetAddress target;
    if (Status found = FindTarget(job.request.host, target); !found.ok()) return found;
    job.answer.target = target.Text();
    return OneHop(job, target).Run();
  });
  job.answer.status = status;
}

}  // namespace vantry
