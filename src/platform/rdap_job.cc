#include "platform/rdap_job.h"

#include <cstring>
#include <memory>

#include <unistd.h>

#include "platform/net_address.h"
#include "platform/rdap_text.h"
#include "platform/web_address.h"

namespace vantry {
namespace {

constexpr size_t kMostJson = 1 << 20, kMostRdapHeader = 256 << 10;
constexpr int kMostPages = 4;

// One page on the way.
class RdapPage {
 public:
  RdapPage(RdapJob& job, bool is_referral) : job_(job), is_referral_(is_referral) {}
  // Where the answer is instead; empty when it has come, or will not.
  std::string Fetch(const std::string& url, Status& status);
  const std::string& Body() const { return body_; }

 private:
  void SetUp(const std::string& url);
  void SetUpCallbacks();
  static curl_socket_t Open(void* self, curlsocktype, curl_sockaddr* address);
  std::string Outcome(Status& status);

  RdapJob& job_;
  const bool is_referral_;
  bool was_local_ = false;
  std::string body_;
  size_t header_bytes_ = 0;
  std::unique_ptr<curl_slist, CurlFreed> headers_;
  CurlHandle curl_;
};

curl_socket_t RdapPage::Open(void* self, curlsocktype, curl_sockaddr* address) {
  auto& page = *static_cast<RdapPage*>(self);
  NetAddress to;
  to.size = static_cast<socklen_t>(address->addrlen);
  if (to.size > sizeof to.bytes) return CURL_SOCKET_BAD;
  std::memcpy(&to.bytes, &address->addr, to.size);
  if (page.is_referral_ && !page.job_.allows_local && !IsPublicAddress(to)) {
    page.was_local_ = true;
    return CURL_SOCKET_BAD;
  }
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

void RdapPage::SetUp(const std::string& url) {
  curl_.Set(CURLOPT_URL, url.c_str());
  curl_.Set(CURLOPT_PROTOCOLS_STR, is_referral_ && !job_.allows_local ? "https" : "http,https");
  curl_.Set(CURLOPT_USERAGENT, "Vantry V2");
  headers_.reset(curl_slist_append(nullptr, "Accept: application/rdap+json, application/json"));
  curl_.Set(CURLOPT_HTTPHEADER, headers_.get());
  curl_.Set(CURLOPT_FOLLOWLOCATION, 0L);
  curl_.Set(CURLOPT_PROXY, "");
  curl_.Set(CURLOPT_TIMEOUT_MS, static_cast<long>(job_.limit_ms));
  curl_.Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(job_.limit_ms));
  curl_.Set(CURLOPT_FORBID_REUSE, 1L);
  curl_.CheckCertificate(job_.authorities);
}

void RdapPage::SetUpCallbacks() {
  curl_.Set(CURLOPT_OPENSOCKETDATA, this);
  curl_.Set(CURLOPT_OPENSOCKETFUNCTION, &RdapPage::Open);
  curl_.Set(CURLOPT_HEADERDATA, this);
  curl_.Set(
      CURLOPT_HEADERFUNCTION, +[](char*, size_t, size_t size, void* self) -> size_t {
        size_t& bytes = static_cast<RdapPage*>(self)->header_bytes_;
        bytes += size;
        return bytes > kMostRdapHeader ? 0 : size;
      });
  curl_.Set(CURLOPT_WRITEDATA, this);
  curl_.Set(
      CURLOPT_WRITEFUNCTION, +[](char* bytes, size_t, size_t size, void* self) -> size_t {
        std::string& body = static_cast<RdapPage*>(self)->body_;
        if (body.size() + size > kMostJson) return 0;
        body.append(bytes, size);
        return size;
      });
  curl_.Set(CURLOPT_NOPROGRESS, 0L);
  curl_.Set(CURLOPT_XFERINFODATA, this);
  curl_.Set(
      CURLOPT_XFERINFOFUNCTION, +[](void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        return static_cast<RdapPage*>(self)->job_.cancelled ? 1 : 0;
      });
}

std::string RdapPage::Outcome(Status& status) {
  long code = 0;
  const char* next = nullptr;
  curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &code);
  curl_easy_getinfo(curl_.get(), CURLINFO_REDIRECT_URL, &next);
  if (code >= 300 && code < 400 && next) return next;
  if (code == 404) {
    status = Status::Error(Fail::kNotFound, "nothing is known by RDAP");
  } else if (code != 200) {
    status = Status::Error(Fail::kIo, "the RDAP server has answered with code " + std::to_string(code));
  }
  return {};
}

std::string RdapPage::Fetch(const std::string& url, Status& status) {
  SetUp(url);
  SetUpCallbacks();
  const CURLcode code = curl_.Perform();
  if (code == CURLE_OK) return Outcome(status);
  std::string text = curl_.ConnectText(code, job_.authorities);
  if (code == CURLE_WRITE_ERROR) text = "the answer is too long";
  if (text.empty()) text = curl_.Text(code);
  status = was_local_ ? Status::Error(Fail::kRefused, "RDAP leads to a machine that is not of the internet")
                      : Status::Error(Fail::kIo, "RDAP: " + text);
  return {};
}

Status FollowRdap(RdapJob& job) {
  WebAddress address;
  if (Status read = ReadWebAddress(job.url, address); !read.ok()) return read;
  std::string url = address.url;
  for (int page = 0; page < kMostPages; ++page) {
    RdapPage fetched(job, page > 0);
    Status status;
    url = fetched.Fetch(url, status);
    if (!status.ok()) return status;
    if (url.empty()) return ReadRdap(fetched.Body(), job.answer.text);
  }
  return Status::Error(Fail::kIo, "RDAP leads from one server to the next without end");
}

}  // namespace

void RunRdapJob(RdapJob& job) {
  job.answer.status = Attempt([&] { return FollowRdap(job); });
}

}  // namespace vantry
