// Rows of the history as they are shown: one record for each kind.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/date_time.h"

namespace vantry {

// Names one visit of an address to a site.
struct VisitPlace {
  std::string_view ip, site;
  int32_t visit = 0;
};

// An address on one site.
struct StoredVisitor {
  int64_t visits = 0;
  std::optional<Day> first_date;
  std::string first_time, dns, country;
};

struct StoredVisit {
  std::string number;
  std::optional<Day> date;
  std::string time, first_page, last_page, minutes;
  int64_t pages_seen = 0;
  std::string browser;
  bool is_spider = false;
  std::string spider, referrer;
};

// How far rows have been read that are asked for some at a time. New rows may come in between.
struct RowsPlace {
  std::string position;  // Of the last one in the order of the key; empty before the first.
  bool ended = false;
};

struct StoredPage {
  std::string time, page;
  int64_t status = 0;
};

struct StoredReferrer {
  int64_t visits = 0;
  std::string name;
};

}  // namespace vantry
