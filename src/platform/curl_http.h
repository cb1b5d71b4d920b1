#pragma once

#include <cstddef>

#include "platform/http_job.h"
#include "platform/workers.h"
#include "ports/http.h"

namespace vantry {

// Web servers through libcurl, each request in a thread of its own. A QCoreApplication must exist, and the object must
// be made before other threads are. Certificates are checked, redirects are not followed, proxies are not used.
class CurlHttp final : public Http {
 public:
  static constexpr size_t kMostAtOnce = 16;
  static constexpr int kTimeoutSeconds = 30, kLongestTimeoutSeconds = 600;

  explicit CurlHttp(int timeout_ms = kTimeoutSeconds * 1'000);

  int64_t Get(const std::string& url, HttpDone done) override;
  void Reset(int64_t request) override { workers_.Forget(static_cast<uint64_t>(request)); }

 private:
  struct HttpWork final : Work {
    HttpJob job;
    void Run() override { RunHttpJob(job); }
    void GiveUp() override { job.cancelled = true; }
  };

  int timeout_ms_;
  TrustedAuthorities authorities_;
  Workers workers_{kMostAtOnce};
};

}  // namespace vantry
