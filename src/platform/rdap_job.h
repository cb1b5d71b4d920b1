// One question by RDAP, without a loop: what a worker thread does.
#pragma once

#include <atomic>
#include <string>

#include "platform/curl_support.h"
#include "ports/who_is.h"

namespace vantry {

// Belongs to one thread at a time, but for `cancelled`.
struct RdapJob {
  std::string url;
  int limit_ms = 20'000;      // For each page on the way.
  bool allows_local = false;  // As in WhoIsLimits.
  TrustedAuthorities authorities;
  std::atomic<bool> cancelled = false;  // Ends the job within about a second.

  WhoIsAnswer answer;
};

// Follows the answer to where it is now, a few pages at most, and only by https to servers of the internet. Throws
// nothing.
void RunRdapJob(RdapJob& job);

}  // namespace vantry
