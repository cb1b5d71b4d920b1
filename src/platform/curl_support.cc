#include "platform/curl_support.h"

#include <cstdlib>
#include <string_view>
#include <system_error>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {

void StartCurl() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
}

TrustedAuthorities SystemAuthorities() {
  const auto environment = [](const char* name) {
    const char* value = std::getenv(name);
    return std::string(value ? value : "");
  };
  return {environment("SSL_CERT_FILE"), environment("SSL_CERT_DIR")};
}

CurlHandle::CurlHandle() : handle_(curl_easy_init()) {
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_ERRORBUFFER, error_);
  Set(CURLOPT_QUICK_EXIT, 1L);  // Leaves a name look-up that hangs to itself.
}

void CurlHandle::CheckCertificate(const TrustedAuthorities& authorities) {
  Set(CURLOPT_SSL_VERIFYPEER, 1L);
  Set(CURLOPT_SSL_VERIFYHOST, 2L);
  if (!authorities.file.empty()) Set(CURLOPT_CAINFO, authorities.file.c_str());
  if (!authorities.folder.empty()) Set(CURLOPT_CAPATH, authorities.folder.c_str());
}

// libcurl's message without its leading words.
std::string CurlHandle::Text(CURLcode code) const {
  std::string_view text = error_[0] ? error_ : curl_easy_strerror(code);
  for (const std::string_view start : {"SSL certificate problem: ", "SSL: "}) {
    if (StartsWith(text, start)) text.remove_prefix(start.size());
  }
  return ToOneLine(text.substr(0, 200));
}

std::string CurlHandle::ConnectText(CURLcode code, const TrustedAuthorities& authorities) const {
  long error = 0;
  if (handle_) curl_easy_getinfo(handle_.get(), CURLINFO_OS_ERRNO, &error);
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return "the name of the server is not known";
    case CURLE_COULDNT_CONNECT:
      if (error == 0) return "no connection: " + Text(code);
      return Lower(std::system_category().message(static_cast<int>(error)));
    case CURLE_PEER_FAILED_VERIFICATION:
      return "the certificate is not valid: " + Text(code);
    case CURLE_SSL_CACERT_BADFILE:
      return authorities.file.empty()
                 ? "there are no trusted certificates on this machine; install the package ca-certificates"
                 : "the file of trusted certificates can't be read: " + authorities.file;
    default:
      return {};
  }
}

std::string CurlHandle::StepText(int limit_ms) const {
  curl_off_t found = 0, connected = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_NAMELOOKUP_TIME_T, &found);
  curl_easy_getinfo(handle_.get(), CURLINFO_CONNECT_TIME_T, &connected);
  if (found == 0) return "no name server knew the name of the server within " + SpanText(limit_ms);
  if (connected == 0) return "no connection within " + SpanText(limit_ms);
  return {};
}

std::string SpanText(int ms) {
  return ms % 1'000 == 0 ? std::to_string(ms / 1'000) + " s" : std::to_string(ms) + " ms";
}

}  // namespace vantry
