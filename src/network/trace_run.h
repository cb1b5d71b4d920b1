// The way to a host: hop by hop in their order, though several are asked for at once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "ports/resolver.h"
#include "ports/trace_route.h"

namespace vantry {

struct TraceHop {
  int32_t hop = 0;
  std::string duration;  // "12 ms", or "*" when nobody has answered.
  std::string address;   // Empty when nobody has answered.
  std::string note;      // What somebody on the way says about the rest of it.
};

struct TraceRunEvents {
  std::function<void(const TraceHop& hop)> hop;
  // The name of the machine of this hop, which was told before.
  std::function<void(int32_t hop, const std::string& name)> name;
  // The end, and a few words about it. Names may still come.
  std::function<void(const std::string& text)> done;
};

class TraceRun {
 public:
  static constexpr int32_t kMostHops = 30, kAtOnce = 4, kTimeoutMs = 2'000;

  // `names` is for this run alone; null: no names are looked up.
  TraceRun(TraceRoute& route, Resolver* names, std::string host, TraceRunEvents events);
  ~TraceRun();
  TraceRun(const TraceRun&) = delete;
  TraceRun& operator=(const TraceRun&) = delete;

  void Start();
  // Ends it; `done` is told, and no name comes any more.
  void Stop();
  bool IsRunning() const { return running_; }

 private:
  void AskMore();
  void Answered(int32_t hop, const HopAnswer& answer);
  void TellInOrder();
  void Tell(const HopAnswer& answer);
  void LookUp(const std::string& address);
  void Named(const ResolverAnswer& answer);
  void DropRequests();
  void End(const std::string& text);

  TraceRoute& route_;
  Resolver* names_;
  std::string host_, asked_;
  TraceRunEvents events_;
  bool running_ = false;
  int32_t next_to_ask_ = 1, next_to_tell_ = 1, last_ = kMostHops;
  std::map<int32_t, int64_t> requests_;   // Under way, by hop.
  std::map<int32_t, HopAnswer> answers_;  // That wait for those of hops before.
  std::map<int16_t, int32_t> asked_names_;
};

}  // namespace vantry
