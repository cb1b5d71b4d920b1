#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/status.h"

namespace vantry {

struct HopRequest {
  std::string host;  // A name, or an IPv4 or IPv6 address.
  int32_t hop = 1;   // How many machines on the way pass the question on, this one included.
  int32_t timeout_ms = 2'000;
};

struct HopAnswer {
  // Ok also when nobody has answered. kBadData when the text is not a host, kNotFound when it has no address, kIo when
  // this machine can't ask.
  Status status;
  std::string target;   // The address that was asked for.
  std::string address;  // Whose answer came; empty when none did.
  int64_t time_us = 0;
  bool is_end = false;  // There is nothing beyond: the host itself has answered, or somebody says that it can't be had.
  std::string note;     // What that one says; empty when the host was reached, or the way goes on.
};
using HopDone = std::function<void(const HopAnswer& answer)>;

// Asks for the machines on the way to a host, one at a time.
class TraceRoute {
 public:
  virtual ~TraceRoute() = default;
  // Asks for one and returns the request's number, which is above 0. Several may be under way. `done` is called once,
  // from the loop and never from inside a call of this class.
  virtual int64_t Probe(const HopRequest& request, HopDone done) = 0;
  // Ends a request; its `done` is not called. One that has ended already may still be told of.
  virtual void Stop(int64_t request) = 0;
};

}  // namespace vantry
