#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/status.h"

namespace vantry {

struct PingRequest {
  std::string host;  // A name, or an IPv4 or IPv6 address.
  int32_t bytes = 32;
  int32_t timeout_ms = 2'000;
  uint16_t sequence = 1;
};

struct PingAnswer {
  // Ok when the host has answered. kBadData when the text is not a host, kNotFound when it has no address; otherwise
  // kIo: nobody has answered in time, or somebody on the way, or this machine, said that it can't be done.
  Status status;
  std::string address;  // The one that was asked; empty when there is none.
  std::string road;     // How it was asked, for people; empty when it was not.
  int64_t time_us = 0;
  int32_t bytes = 0;  // That came back.
  int32_t ttl = 0;    // Of the answer; 0 when it is not known.
};
using PingDone = std::function<void(const PingAnswer& answer)>;

// Asks hosts whether they are there.
class Ping {
 public:
  virtual ~Ping() = default;
  // Asks once and returns the request's number, which is above 0. `done` is called once, from the loop and never from
  // inside a call of this class.
  virtual int64_t Send(const PingRequest& request, PingDone done) = 0;
  // Ends a request; its `done` is not called. One that has ended already may still be told of.
  virtual void Stop(int64_t request) = 0;
};

}  // namespace vantry
