// Hosts, routes and registries in memory: they answer on command.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ports/ping.h"
#include "ports/trace_route.h"
#include "ports/who_is.h"

namespace vantry {

// Requests under way by their numbers, and every one that was ever made.
template <class Request, class Answer>
class FakeRequests {
 public:
  std::vector<Request> asked;
  std::vector<int64_t> stopped;

  size_t UnderWay() const { return under_way_.size(); }
  // Answers the oldest, or the one with this place in `asked`; false when that is not under way.
  bool Tell(const Answer& answer) {
    return !under_way_.empty() && TellOf(static_cast<size_t>(under_way_.begin()->first - 1), answer);
  }
  bool TellOf(size_t place, const Answer& answer) {
    const auto found = under_way_.extract(static_cast<int64_t>(place + 1));
    if (!found) return false;
    found.mapped()(answer);
    return true;
  }

 protected:
  int64_t Begin(Request request, std::function<void(const Answer&)> done) {
    asked.push_back(std::move(request));
    const auto number = static_cast<int64_t>(asked.size());
    under_way_[number] = std::move(done);
    return number;
  }
  void End(int64_t number) {
    stopped.push_back(number);
    under_way_.erase(number);
  }

 private:
  std::map<int64_t, std::function<void(const Answer&)>> under_way_;
};

class FakePing final : public Ping, public FakeRequests<PingRequest, PingAnswer> {
 public:
  int64_t Send(const PingRequest& request, PingDone done) override { return Begin(request, std::move(done)); }
  void Stop(int64_t request) override { End(request); }
};

class FakeTraceRoute final : public TraceRoute, public FakeRequests<HopRequest, HopAnswer> {
 public:
  int64_t Probe(const HopRequest& request, HopDone done) override { return Begin(request, std::move(done)); }
  void Stop(int64_t request) override { End(request); }
};

// A question by RDAP has its address as the server and no text.
class FakeWhoIs final : public WhoIs, public FakeRequests<WhoIsQuestion, WhoIsAnswer> {
 public:
  int64_t Ask(const WhoIsQuestion& question, WhoIsDone done) override { return Begin(question, std::move(done)); }
  int64_t AskRdap(const std::string& url, WhoIsDone done) override { return Begin({url, ""}, std::move(done)); }
  void Stop(int64_t request) override { End(request); }
};

}  // namespace vantry
