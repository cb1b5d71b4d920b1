#include "platform/curl_http.h"

#include <chrono>
#include <utility>

namespace vantry {
namespace {

// Beyond libcurl's own limit, which it may notice late.
constexpr std::chrono::milliseconds kHttpGrace{5'000};

Status HttpOutcome(const HttpJob& job, WorkEnd end) {
  if (end == WorkEnd::kDone) return job.result;
  return NoOutcome(end, job.address.place, "the server did not answer in time");
}

}  // namespace

CurlHttp::CurlHttp(int timeout_ms) : timeout_ms_(timeout_ms), authorities_(SystemAuthorities()) {
  StartCurl();
}

int64_t CurlHttp::Get(const std::string& url, HttpDone done) {
  auto work = std::make_shared<HttpWork>();
  HttpJob& job = work->job;
  job.limit_ms = timeout_ms_;
  job.authorities = authorities_;
  job.result = ReadWebAddress(url, job.address);
  const bool good = job.result.ok();
  return static_cast<int64_t>(
      workers_.Start(good ? work : nullptr, std::chrono::milliseconds(timeout_ms_) + kHttpGrace,
                     [work, done = std::move(done)](WorkEnd end) { done(HttpOutcome(work->job, end)); }));
}

}  // namespace vantry
