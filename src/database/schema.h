// The tables of the history: their fields and keys as they are declared, and the places of the fields in a record.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace vantry {

struct TableSchema {
  const char* name;
  std::vector<std::string> fields;  // "Name|Type|Width".
  std::vector<std::string> keys;    // "name|expression|filter|U or N|D"; trailing parts may be missing.
};

// The same fields with room for a whole address, 60 bytes of a site's name and 30 of a browser's.
std::vector<std::string> WideFields(const TableSchema& schema);

// One row per visit.
namespace visits {
enum Column {
  kRecordNo,
  kIP,
  kSite,
  kActive,
  kAlert,
  kAlertNo,
  kVisitNo,
  kVisitDate,
  kVisitTime,
  kFirstPage,
  kLastPage,
  kPagesSeen,
  kMinsOn,
  kBrowser,
  kSpider,
  kSpiderT,
  kReferrer,
  kHackRaised,
  kFlags
};
const TableSchema& Schema();
}  // namespace visits

// One row per address and site.
namespace visitor {
enum Column {
  kRecordNo,
  kIP,
  kSite,
  kDNS,
  kName,
  kVisits,
  kCountry,
  kFirstVDate,
  kFirstVTime,
  kLastVDate,
  kLastVTime,
  kBrowser,
  kSpider,
  kSpiderT,
  kHackCount,
  kFlags
};
const TableSchema& Schema();
}  // namespace visitor

// One row per referring site and site.
namespace referrers {
enum Column { kRecordNo, kName, kSite, kFirstVDate, kFirstVTime, kLastVDate, kLastVTime, kVisits };
const TableSchema& Schema();
}  // namespace referrers

// One row per raised exception.
namespace exceptions {
enum Column { kRecordNo, kSite, kExDate, kExTime, kNumber, kValue, kIP, kVisitNo };
const TableSchema& Schema();
}  // namespace exceptions

// One row per counted page view.
namespace pages {
enum Column { kRecordNo, kIP, kSite, kVisitNo, kPage, kPageDate, kPageTime, kPageNo, kStatus };
const TableSchema& Schema();
}  // namespace pages

// One row per downloaded file.
namespace downloads {
enum Column { kRecordNo, kIP, kSite, kVisitNo, kVisitDate, kVisitTime, kDownload, kStatus };
const TableSchema& Schema();
}  // namespace downloads

// One row per site and day.
namespace day_sum {
enum Column { kRecordNo, kSite, kDated, kVisitors, kAlerts, kSpiders, kExceptions, kDownloads };
const TableSchema& Schema();
}  // namespace day_sum

// Address ranges to country code: the lowest address of each, and the code that holds up to the next. Supplied from
// outside and read only; there may be other fields too, in any order.
namespace ipcc {
const TableSchema& Schema();
}  // namespace ipcc

// The seven tables that Vantry writes.
std::array<const TableSchema*, 7> HistorySchemas();

}  // namespace vantry
