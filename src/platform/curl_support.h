// What all users of libcurl share.
#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

namespace vantry {

// Once before threads are made. libcurl is never cleaned up: a name look-up that was given up may still be running.
void StartCurl();

// Files of the authorities that sign certificates; empty for those of the system.
struct TrustedAuthorities {
  std::string file, folder;
};
// As SSL_CERT_FILE and SSL_CERT_DIR name them; libcurl itself looks at neither.
TrustedAuthorities SystemAuthorities();

struct CurlFreed {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

// One libcurl handle that remembers the first option that could not be set.
class CurlHandle {
 public:
  CurlHandle();
  CurlHandle(const CurlHandle&) = delete;
  CurlHandle& operator=(const CurlHandle&) = delete;

  CURL* get() const { return handle_.get(); }
  template <class T>
  void Set(CURLoption option, T value) {
    const CURLcode code = handle_ ? curl_easy_setopt(handle_.get(), option, value) : CURLE_OUT_OF_MEMORY;
    if (setup_ == CURLE_OK) setup_ = code;
  }
  void NotSet() { setup_ = CURLE_OUT_OF_MEMORY; }
  // Certificates must be valid, be for this server and be signed by one of these.
  void CheckCertificate(const TrustedAuthorities& authorities);
  // Blocks until the transfer has ended.
  CURLcode Perform() { return setup_ == CURLE_OK ? curl_easy_perform(handle_.get()) : setup_; }

  // What went wrong, in one line of at most 200 bytes. Parts of it may come from the server.
  std::string Text(CURLcode code) const;
  // The same for a transfer that got no connection, or none that can be trusted; empty for any other reason.
  std::string ConnectText(CURLcode code, const TrustedAuthorities& authorities) const;
  // Which step a transfer had reached when its time was up, or empty when it was connected.
  std::string StepText(int limit_ms) const;

 private:
  std::unique_ptr<CURL, CurlFreed> handle_;
  CURLcode setup_ = CURLE_OK;
  char error_[CURL_ERROR_SIZE] = "";
};

// "30 s" or "1500 ms".
std::string SpanText(int ms);

}  // namespace vantry
