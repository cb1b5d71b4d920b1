// One request for a page, without a loop: what a worker thread does.
#pragma once

#include <atomic>

#include "core/status.h"
#include "platform/curl_support.h"
#include "platform/web_address.h"

namespace vantry {

// Belongs to one thread at a time, but for `cancelled`.
struct HttpJob {
  WebAddress address;
  int limit_ms = 0;  // For the whole request.
  TrustedAuthorities authorities;
  std::atomic<bool> cancelled = false;  // Ends the job within about a second.

  Status result;
};

// Asks for the page; blocks until the server has answered or has not. Throws nothing.
void RunHttpJob(HttpJob& job);

}  // namespace vantry
