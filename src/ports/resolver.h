#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vantry {

// How one request ended.
struct ResolverAnswer {
  int16_t id = 0;
  int status = 0;           // 0 for success.
  std::string description;  // What went wrong; empty after success.
  std::string address;      // Exactly the text that Start was given.
  std::string name;         // The host name; empty if there is none.
};

// Reverse look-ups: asks name servers for the names of addresses while the caller goes on.
class Resolver {
 public:
  virtual ~Resolver() = default;
  // Set once, before the first Start. Called only from the loop, never from inside another call of this class, and
  // once per request; the request no longer counts as pending then. The handler may turn the loop, start requests
  // and cancel.
  virtual void OnComplete(std::function<void(const ResolverAnswer& answer)> complete) = 0;
  // Requests started and not answered yet.
  virtual int Pending() const = 0;
  // Starts a request and returns at once with its number: 1 to 32,767, then from 1 again, never one still pending.
  // 0 if none was started: the text is not an IPv4 or IPv6 address, or look-ups are not available.
  virtual int16_t Start(const std::string& address) = 0;
  // Ends all requests for good: nothing is delivered afterwards, and Start starts nothing.
  virtual void Cancel() = 0;
};

}  // namespace vantry
