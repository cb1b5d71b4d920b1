#include "platform/ping_job.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>

#include <netinet/icmp6.h>
#include <netinet/ip_icmp.h>

#include "platform/icmp_text.h"
#include "platform/ping_program.h"
#include "platform/probe_socket.h"

namespace vantry {
namespace {

using std::chrono::steady_clock;

// Nobody listens there, by an old agreement.
constexpr uint16_t kDeadPort = 33'434;
constexpr int32_t kMostPayload = 65'000;

enum class Road { kClosed, kTaken };

class OnePing {
 public:
  OnePing(PingJob& job, NetAddress target)
      : job_(job),
        target_(target),
        v6_(target.IsV6()),
        until_(steady_clock::now() + std::chrono::milliseconds(job.request.timeout_ms)) {}

  void Run();

 private:
  Road ByDatagrams() { return ByIcmp(SOCK_DGRAM, "ICMP"); }
  Road ByRawSocket() { return ByIcmp(SOCK_RAW, "raw ICMP"); }
  Road ByProgram();
  Road ByUdp();
  Road ByIcmp(int type, const char* name);
  std::string Payload() const;
  bool IsOurs(const Arrival& arrival, bool raw, const Echo& sent) const;
  // True when the wait for it is over.
  bool TakeError(int fd, bool port_is_reply);
  template <class Took>
  void AwaitReply(int fd, bool port_is_reply, Took&& took);
  void Start() { began_ = steady_clock::now(); }
  bool Sent(ssize_t bytes, const char* name);
  void Answered(int32_t bytes, int32_t ttl);
  void Fail(const std::string& text) { job_.answer.status = Status::Error(vantry::Fail::kIo, text); }

  PingJob& job_;
  const NetAddress target_;
  const bool v6_;
  const steady_clock::time_point until_;
  steady_clock::time_point began_;
};

std::string OnePing::Payload() const {
  static_assert(sizeof(std::random_device::result_type) == 4);
  std::string payload(static_cast<size_t>(std::clamp(job_.request.bytes, 0, kMostPayload)), '\0');
  for (size_t at = 0; at < payload.size(); ++at) payload[at] = static_cast<char>('a' + at % 26);
  // Told apart from the pings of others.
  const auto mark = std::random_device()();
  std::memcpy(payload.data(), &mark, std::min(sizeof mark, payload.size()));
  return payload;
}

void OnePing::Answered(int32_t bytes, int32_t ttl) {
  using std::chrono::microseconds;
  job_.answer.time_us = std::chrono::duration_cast<microseconds>(steady_clock::now() - began_).count();
  job_.answer.bytes = bytes;
  job_.answer.ttl = ttl;
  job_.answer.status = Status::Ok();
}

bool OnePing::Sent(ssize_t bytes, const char* name) {
  job_.answer.road = name;
  if (bytes >= 0) return true;
  Fail(job_.answer.address + ": " + std::strerror(errno));
  return false;
}

bool OnePing::TakeError(int fd, bool port_is_reply) {
  while (const auto refusal = TakeRefusal(fd, v6_)) {
    // A raw socket is told of the pings of others, too.
    if (refusal->to.size > 0 && !refusal->to.IsSameHost(target_)) continue;
    if (refusal->is_local) {
      Fail(job_.answer.address + ": " + std::strerror(refusal->error));
    } else if (port_is_reply && IsPortUnreachable(v6_, refusal->type, refusal->code) &&
               refusal->from.IsSameHost(target_)) {
      Answered(job_.request.bytes, refusal->ttl);
    } else {
      Fail(refusal->from.Text() + ": " + IcmpText(v6_, refusal->type, refusal->code));
    }
    return true;
  }
  return false;
}

// `took` is given what arrives and says whether it is the answer.
template <class Took>
void OnePing::AwaitReply(int fd, bool port_is_reply, Took&& took) {
  for (;;) {
    const auto wake = job_.stop.Wait(fd, POLLIN, until_);
    if (wake == StopSign::Wake::kReady) {
      if (TakeError(fd, port_is_reply)) return;
      while (const auto arrival = TakeArrival(fd)) {
        if (took(*arrival)) return;
      }
      // An error that stands in no queue is taken off here, or the wait would never end.
      int error = 0;
      socklen_t size = sizeof error;
      ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
      if (steady_clock::now() < until_) continue;
    }
    return Fail("no answer from " + job_.answer.address);
  }
}

bool OnePing::IsOurs(const Arrival& arrival, bool raw, const Echo& sent) const {
  const std::string_view message = raw && !v6_ ? MessageInPacket(arrival.bytes) : std::string_view(arrival.bytes);
  const auto echo = ReadEchoReply(v6_, message);
  // The system puts an id of its own in the place of ours, but for raw sockets.
  return echo && echo->sequence == sent.sequence && echo->payload == sent.payload && (!raw || echo->id == sent.id) &&
         arrival.from.IsSameHost(target_);
}

Road OnePing::ByIcmp(int type, const char* name) {
  const int protocol = v6_ ? int{IPPROTO_ICMPV6} : int{IPPROTO_ICMP};
  const Descriptor fd(::socket(target_.bytes.ss_family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol));
  if (!fd) return Road::kClosed;
  WantAnswers(fd.get(), v6_);
  const Echo echo{static_cast<uint16_t>(std::random_device()()), job_.request.sequence, Payload()};
  const std::string message = EchoRequest(v6_, echo);
  Start();
  if (!Sent(::sendto(fd.get(), message.data(), message.size(), 0, target_.Get(), target_.size), name)) {
    return Road::kTaken;
  }
  AwaitReply(fd.get(), false, [&](const Arrival& arrival) {
    if (!IsOurs(arrival, type == SOCK_RAW, echo)) return false;
    Answered(static_cast<int32_t>(echo.payload.size()), arrival.ttl);
    return true;
  });
  return Road::kTaken;
}

Road OnePing::ByProgram() {
  PingCall call{job_.program, job_.answer.address, job_.request.bytes, until_};
  std::string output;
  switch (RunPing(call, job_.stop, output)) {
    case PingEnd::kUnable:
      return Road::kClosed;
    case PingEnd::kSilent:
      break;
    case PingEnd::kReplied:
      if (const auto reply = ReadPingOutput(output)) {
        Start();
        Answered(reply->bytes, reply->ttl);
        job_.answer.time_us = reply->time_us;
      }
  }
  job_.answer.road = "the program ping";
  if (!job_.answer.status.ok()) Fail("no answer from " + job_.answer.address);
  return Road::kTaken;
}

Road OnePing::ByUdp() {
  const Descriptor fd(::socket(target_.bytes.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd) return Road::kClosed;
  WantAnswers(fd.get(), v6_);
  NetAddress port = target_;
  port.SetPort(static_cast<uint16_t>(kDeadPort + job_.request.sequence % 1'000));
  const std::string payload = Payload();
  Start();
  if (!Sent(::sendto(fd.get(), payload.data(), payload.size(), 0, port.Get(), port.size), "UDP")) return Road::kTaken;
  AwaitReply(fd.get(), true, [&](const Arrival& arrival) {
    if (!arrival.from.IsSameHost(target_)) return false;
    Answered(static_cast<int32_t>(arrival.bytes.size()), arrival.ttl);
    return true;
  });
  return Road::kTaken;
}

void OnePing::Run() {
  Fail("this machine has no way to ask");
  for (const auto road : {&OnePing::ByDatagrams, &OnePing::ByRawSocket, &OnePing::ByProgram, &OnePing::ByUdp}) {
    if (job_.stop.IsSet() || (this->*road)() == Road::kTaken) return;
  }
}

}  // namespace

void RunPingJob(PingJob& job) {
  const Status status = Attempt([&] {
    NetAddress target;
    if (Status found = FindTarget(job.request.host, target); !found.ok()) return found;
    job.answer.address = target.Text();
    OnePing(job, target).Run();
    return job.answer.status;
  });
  job.answer.status = status;
}

}  // namespace vantry
