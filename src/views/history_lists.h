// The lists that the history gives, each made for its subject.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "views/history_list.h"
#include "views/history_tables.h"

namespace vantry {

// An address, and the site that it visited by its name; all sites if that is empty.
struct VisitSubject {
  std::string ip, site;
};

// Reads "address:site". A text without a site has that of `before`, and one that ends in ":" has none. The colons of an
// IPv6 address are its own; "[address]:site" tells the two apart in any case.
VisitSubject ParseSubject(std::string_view text, const std::string& before);

// Days, the first and the last of them included.
struct DayRange {
  std::optional<Day> from, to;
  bool Has(std::optional<Day> day) const { return (!from || (day && *day >= *from)) && (!to || (day && *day <= *to)); }
};

namespace previous_visits {
enum Column {
  kNo,
  kSite,
  kDate,
  kTime,
  kFirstPage,
  kLastPage,
  kMinsOnSite,
  kPagesSeen,
  kBrowser,
  kSpider,
  kHackException,
  kReferrer,
  kIP  // After those that windows show: a list of several addresses has it.
};
}  // namespace previous_visits

// The visits of an address in the order of the sites, oldest first. Without an address those of a site, or all.
std::unique_ptr<HistoryList> PreviousVisits(HistoryTables& tables, const VisitSubject& subject,
                                            const DayRange& days = {});

// The visits that came from this referrer, as the tables know it, in the order in which they were stored; with their
// addresses.
std::unique_ptr<HistoryList> VisitsFrom(HistoryTables& tables, const std::string& site, const std::string& referrer);

struct VisitName {
  VisitSubject visitor;
  int64_t number = 0;
  std::optional<Day> day;  // Empty: whichever day it began on.
};

// What is known of a visit as names and values, followed by the pages that were seen. `country_name` gives the name of
// a country's code.
std::unique_ptr<HistoryList> VisitDetails(HistoryTables& tables, const VisitName& visit,
                                          std::function<std::string(std::string_view code)> country_name);

namespace top_referrers {
enum Column { kNo, kVisits, kFirstVisit, kLastVisit, kName };
}

// The sites that sent visitors to this one, busiest first; without a site, to all sites together.
std::unique_ptr<HistoryList> TopReferrers(HistoryTables& tables, const std::string& site, const DayRange& days = {});

namespace previous_downloads {
enum Column { kVisitNo, kSite, kDate, kTime, kDownload };
}

// The files that an address downloaded, in the order of sites and visits.
std::unique_ptr<HistoryList> PreviousDownloads(HistoryTables& tables, const VisitSubject& subject,
                                               const DayRange& days = {});

namespace top_downloads {
enum Column { kNo, kDownloads, kFirstVisit, kLastVisit, kFilename };
}

// The files that were downloaded from a site, most often downloaded first; without a site, from all together. `shown`
// is the range as the title tells it.
std::unique_ptr<HistoryList> TopDownloads(HistoryTables& tables, const std::string& site, const DayRange& days,
                                          const std::string& shown);

// Counts of a day: visitors, alerts, spiders, exceptions, downloads.
using DayCounts = std::array<int64_t, 5>;

namespace days {
enum Column { kDate, kVisitors, kAlerts, kSpiders, kExceptions, kDownloads };
}

// Today so far, which no table has yet.
struct DaySoFar {
  Day day;
  DayCounts counts{};
};

// A site's days, oldest first; without a site, those of all sites together.
std::unique_ptr<HistoryList> Days(HistoryTables& tables, const std::string& site, const DayRange& range,
                                  const std::optional<DaySoFar>& today = {});

}  // namespace vantry
