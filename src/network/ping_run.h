// Five pings, and the lines that are told of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "ports/ping.h"

namespace vantry {

// What came of the pings so far. Those without an answer count as lost and nowhere else.
struct PingStatistics {
  int32_t sent = 0, received = 0;
  int64_t least_us = 0, most_us = 0, sum_us = 0;

  void Count(const PingAnswer& answer);
  int32_t Lost() const { return sent - received; }
};

std::string PingHeading(const std::string& host, int32_t bytes);
std::string PingLine(const PingAnswer& answer);
// The four lines after the last ping, each with "\n" between.
std::string PingSummary(const std::string& host, const PingStatistics& statistics);

struct PingRunEvents {
  // What is listed, line by line.
  std::function<void(const std::string& line)> line;
  // How the host is asked, and what went wrong: said beside the list.
  std::function<void(const std::string& text)> status;
  std::function<void()> done;
};

class PingRun {
 public:
  static constexpr int32_t kPings = 5, kTimeoutMs = 2'000;

  PingRun(Ping& ping, std::string host, int32_t bytes, PingRunEvents events);
  ~PingRun() { Stop(); }
  PingRun(const PingRun&) = delete;
  PingRun& operator=(const PingRun&) = delete;

  void Start();
  // Ends it without a word.
  void Stop();
  bool IsRunning() const { return request_ != 0; }

 private:
  void Next();
  void Answered(const PingAnswer& answer);
  void Count(const PingAnswer& answer);

  Ping& ping_;
  std::string host_;
  std::string asked_;  // The address once it is known: the name is looked up once.
  int32_t bytes_;
  PingRunEvents events_;
  PingStatistics statistics_;
  int64_t request_ = 0;  // Under way; 0: none.
};

}  // namespace vantry
