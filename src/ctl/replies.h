// The answers of a running program as records. The bytes come from the network: nothing is taken for granted, and no
// text in a record is fit for a terminal before it went through Printable.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace vantry {

struct SiteStatus {
  std::string name;
  bool paused = false;
  int64_t visitors = 0, alerts = 0, spiders = 0, exceptions = 0;
  std::string last_read;  // Date and time as the program writes them.
};

// Reads the answer to "@STATUS", without its line end. kBadData when it is no such answer or was cut off.
Status ParseStatusReply(std::string_view reply, std::vector<SiteStatus>& sites);

struct ListedVisitor {
  static constexpr size_t kFieldCount = 8;
  std::string domain, visit_no, dns, page, start_time, last_time, browser, referrer;
};

// Reads the whole HTTP answer to a list request. kRefused when a login is asked for, kNotFound when the domain is not
// monitored, kBadData for anything else that is no list or a list that was cut off.
Status ParseListReply(std::string_view reply, std::vector<ListedVisitor>& visitors);

}  // namespace vantry
