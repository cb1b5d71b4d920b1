#include "platform/http_job.h"

namespace vantry {
namespace {

// A page is not looked at, so that much of one is answer enough. A header beyond its bound is an attack.
constexpr size_t kEnoughOfAPage = 1 << 20, kMostHeader = 256 << 10;

class PageRequest {
 public:
  explicit PageRequest(HttpJob& job) : job_(job) {}
  void Run();

 private:
  void SetUp();
  void SetUpCallbacks();
  std::string FailureText(CURLcode code) const;

  HttpJob& job_;
  CurlHandle curl_;
  size_t header_bytes_ = 0, page_bytes_ = 0;
};

void PageRequest::SetUp() {
  curl_.Set(CURLOPT_URL, job_.address.url.c_str());
  curl_.Set(CURLOPT_PROTOCOLS_STR, "http,https");
  curl_.Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_.Set(CURLOPT_USERAGENT, "Vantry V2 Touch");
  curl_.Set(CURLOPT_FOLLOWLOCATION, 0L);
  curl_.Set(CURLOPT_PATH_AS_IS, 1L);
  curl_.Set(CURLOPT_PROXY, "");  // A proxy that answers would say nothing about the server.
  curl_.Set(CURLOPT_TIMEOUT_MS, static_cast<long>(job_.limit_ms));
  curl_.Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(job_.limit_ms));
  curl_.Set(CURLOPT_FORBID_REUSE, 1L);
  curl_.CheckCertificate(job_.authorities);
}

void PageRequest::SetUpCallbacks() {
  curl_.Set(CURLOPT_HEADERDATA, this);
  curl_.Set(
      CURLOPT_HEADERFUNCTION, +[](char*, size_t, size_t size, void* self) -> size_t {
        size_t& bytes = static_cast<PageRequest*>(self)->header_bytes_;
        bytes += size;
        return bytes > kMostHeader ? 0 : size;
      });
  curl_.Set(CURLOPT_WRITEDATA, this);
  curl_.Set(
      CURLOPT_WRITEFUNCTION, +[](char*, size_t, size_t size, void* self) -> size_t {
        size_t& bytes = static_cast<PageRequest*>(self)->page_bytes_;
        bytes += size;
        return bytes > kEnoughOfAPage ? 0 : size;
      });
  curl_.Set(CURLOPT_NOPROGRESS, 0L);
  curl_.Set(CURLOPT_XFERINFODATA, this);
  curl_.Set(
      CURLOPT_XFERINFOFUNCTION, +[](void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        return static_cast<PageRequest*>(self)->job_.cancelled ? 1 : 0;
      });
}

std::string PageRequest::FailureText(CURLcode code) const {
  if (std::string text = curl_.ConnectText(code, job_.authorities); !text.empty()) return text;
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT: {
      const std::string step = curl_.StepText(job_.limit_ms);
      return step.empty() ? "the server did not answer within " + SpanText(job_.limit_ms) : step;
    }
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
      return "the connection broke off";
    case CURLE_WRITE_ERROR:
      return "the header of the answer does not end";
    case CURLE_URL_MALFORMAT:
      return "that is not the address of a page";
    default:
      return curl_.Text(code);
  }
}

void PageRequest::Run() {
  SetUp();
  SetUpCallbacks();
  const CURLcode code = curl_.Perform();
  if (code == CURLE_OK || page_bytes_ > kEnoughOfAPage) return;
  job_.result = Status::Error(Fail::kIo, job_.address.place + ": " + FailureText(code));
}

}  // namespace

void RunHttpJob(HttpJob& job) {
  Status status = Attempt([&job] {
    PageRequest(job).Run();
    return Status::Ok();
  });
  if (!status.ok()) job.result = Status::Error(status.fail, job.address.place + ": " + status.text);
}

}  // namespace vantry
