// The table of the 100 connections of the web access.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "core/date_time.h"
#include "ports/listener.h"

namespace vantry {

enum class WebState : int16_t { kIdle = 0, kRequestLine = 1, kHeaders = 2, kBody = 3 };

// One slot. It is not wiped when its connection ends: that is how a login survives from one page to the next.
struct WebClient {
  static constexpr int kMaxHeaders = 30;
  std::string Version;  // What followed the URL; never read.
  std::string Method;   // Upper-cased.
  std::string Path;     // URL up to the "?", as sent; cleared by a login check, so that links become relative.
  std::string Query;    // URL after the first "?", raw.
  int16_t HeaderCount = 0;
  std::array<std::string, kMaxHeaders> Headers;
  std::string PostData;
  WebState State = WebState::kIdle;
  bool InUse = false;  // Set at the first connection in this slot, never cleared.
  bool IsWAP = false;
  std::string UserName;  // Upper-cased and trimmed.
  std::string Password;  // Upper-cased.
  bool LoggedIn = false;
  bool AllSites = false;  // May see every site; never set False again.
  WallTime LastRequest;   // 0 until the first.
  std::string RemoteHost;
  bool CredentialsGiven = false;
  bool FormGiven = false;    // This connection's own request brought a name or a password.
  bool DecodeForms = false;  // Bodies are read as browsers write forms.
};

class WebClientTable {
 public:
  WebClient& operator[](int connection) { return clients_[static_cast<size_t>(connection - 1)]; }

 private:
  std::array<WebClient, kMaxConnections> clients_;
};

}  // namespace vantry
