#include "network/ping_run.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

std::string Milliseconds(int64_t us) {
  return std::to_string((us + 500) / 1'000) + "ms";
}

}  // namespace

void PingStatistics::Count(const PingAnswer& answer) {
  ++sent;
  if (!answer.status.ok()) return;
  least_us = received == 0 ? answer.time_us : std::min(least_us, answer.time_us);
  most_us = std::max(most_us, answer.time_us);
  sum_us += answer.time_us;
  ++received;
}

std::string PingHeading(const std::string& host, int32_t bytes) {
  return "Pinging " + host + " with " + std::to_string(bytes) + " bytes of data";
}

std::string PingLine(const PingAnswer& answer) {
  if (!answer.status.ok()) return "Request timed out.";
  return "\tReply from " + answer.address + ": bytes=" + std::to_string(answer.bytes) +
         " Time=" + Milliseconds(answer.time_us) + " TTL=" + (answer.ttl > 0 ? std::to_string(answer.ttl) : "?");
}

std::string PingSummary(const std::string& host, const PingStatistics& s) {
  const int64_t average = s.received > 0 ? s.sum_us / s.received : 0;
  return "Ping statistics for " + host + "\n\tPackets: Sent =  " + std::to_string(s.sent) +
         ", Received = " + std::to_string(s.received) + ", Lost = " + std::to_string(s.Lost()) +
         "\nApproximate round trip times in milli-seconds:\n\tMinimum = " + Milliseconds(s.least_us) +
         ", Maximum = " + Milliseconds(s.most_us) + ", Average = " + Milliseconds(average);
}

PingRun::PingRun(Ping& ping, std::string host, int32_t bytes, PingRunEvents events)
    : ping_(ping), host_(std::move(host)), asked_(host_), bytes_(bytes), events_(std::move(events)) {}

void PingRun::Start() {
  events_.line(PingHeading(host_, bytes_));
  Next();
}

void PingRun::Stop() {
  if (request_ != 0) ping_.Stop(std::exchange(request_, 0));
}

void PingRun::Next() {
  request_ = ping_.Send({asked_, bytes_, kTimeoutMs, static_cast<uint16_t>(statistics_.sent + 1)},
                        [this](const PingAnswer& answer) { Answered(answer); });
}

void PingRun::Count(const PingAnswer& answer) {
  statistics_.Count(answer);
  events_.line(PingLine(answer));
}

void PingRun::Answered(const PingAnswer& answer) {
  if (request_ == 0) return;  // Stopped, and told of nevertheless.
  request_ = 0;
  if (!answer.address.empty()) asked_ = answer.address;
  const std::string by = answer.road.empty() ? "" : "By " + answer.road;
  events_.status(answer.status.ok() ? by : answer.status.text + (by.empty() ? "" : ". " + by));
  Count(answer);
  // What is not a host, or has no address, has none for the rest either.
  const bool hopeless = answer.status.fail == Fail::kBadData || answer.status.fail == Fail::kNotFound;
  while (hopeless && statistics_.sent < kPings) Count(answer);
  if (statistics_.sent < kPings) return Next();
  events_.line(PingSummary(host_, statistics_));
  events_.done();
}

}  // namespace vantry
