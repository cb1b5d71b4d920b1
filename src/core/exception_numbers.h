// The exception types by default: numbers, messages, thresholds. People and files know the numbers. A new
// type is a row here, and the place that raises it.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/tables.h"

namespace vantry {

// Types 400 to 505 are not named: they are the status codes of HTTP.
enum ExceptionNumber : int16_t {
  kExActiveVisitors = 110,
  kExManyActiveVisitors = 120,
  kExNoVisitors = 122,
  kExNoVisitorsForLong = 123,
  kExLongVisit = 130,
  kExManyPages = 131,
  kExManyVisitsInADay = 132,
  kExManyVisits = 133,
  kExLongOnAPage = 134,
  kExExeRequested = 150,
  kExDllRequested = 151,
  kExBatRequested = 152,
  kExVbsRequested = 153,
  kExPathTraversal = 160,
  kExManyNotFound = 161,
  kExPutRequest = 162,
  kExDeleteRequest = 163,
  kExManyPagesInAMinute = 164,
  kExHacker = 165,
  kExTouchFailed = 170,
  kExTouchResumed = 171,
  kExSqlServerDown = 180,
  kExSqlServerBack = 181,
  kExUnknownBrowser = 900,
  kExUnknownSpider = 902,
};

// Whether a monitor finds it, which may be at any moment, also in the middle of a scan.
inline bool IsOfMonitor(int number) {
  return number >= kExTouchFailed && number <= kExSqlServerBack;
}

// Whether it is noticed over time or by a test, so that no line of a log tells of it a second time.
inline bool IsOfNoLine(int number) {
  return (number >= kExActiveVisitors && number <= kExNoVisitorsForLong) || IsOfMonitor(number);
}

struct DefaultExceptionType {
  int16_t number;
  std::string_view description;
  std::string_view value;
  bool email;
  int16_t SiteRec::*threshold = nullptr;  // Each site's copy of the value, for types that are tested at each hit.
};

// The texts of 406 to 417 end without the closing bracket, and 414 says "log": existing files and readers
// have them that way.
inline constexpr DefaultExceptionType kDefaultExceptionTypes[] = {
    {kExActiveVisitors, "More than [value] active visitors", "100", false},
    {kExManyActiveVisitors, "More than [value] active visitors", "200", true},
    {kExNoVisitors, "No visitors for [value] minutes", "60", false},
    {kExNoVisitorsForLong, "No visitors for [value] minutes", "120", true},
    {kExLongVisit, "Single visitor on site for more than [value] minutes", "10", false, &SiteRec::ExValue130},
    {kExManyPages, "Single visitor viewed more than [value] pages", "25", false, &SiteRec::ExValue131},
    {kExManyVisitsInADay, "Same visitor returning more than [value] times in a single day", "5", true},
    {kExManyVisits, "Same visitor returning more than [value] times", "25", false, &SiteRec::ExValue133},
    {kExLongOnAPage, "Single visitor viewed page [lastpage] for more than 5 minutes", "5", false, &SiteRec::ExValue134},
    {kExExeRequested, "The EXE file [filename] was requested", "", true},
    {kExDllRequested, "The DLL file [filename] was requested", "", true},
    {kExBatRequested, "The BAT file [filename] was requested", "", true},
    {kExVbsRequested, "The VBS file [filename] was requested", "", true},
    {kExPathTraversal, "The requested path [path] contains  ../", "", true},
    {kExManyNotFound, "Visitor generated more than [value] 404 errors", "10", true, &SiteRec::ExValue161},
    {kExPutRequest, "Visitor used a PUT request on page [lastpage]", "", true},
    {kExDeleteRequest, "Visitor used a DELETE request on page [lastpage]", "", true},
    {kExManyPagesInAMinute, "Visitor requested more than [value] pages during 1 minute", "60", true},
    {kExHacker, "Possible HACKER detected!", "", true},
    {kExTouchFailed, "Touch failed with error [error]. The web server may be down!", "", true},
    {kExTouchResumed, "Touch resumed. The web server is back up!", "", true},
    {kExSqlServerDown, "Failed to logon to SQL Server [servername]. The SQL Server may be down!", "", true},
    {kExSqlServerBack, "Logon to SQL Server [servername] resumed. The SQL Server appears to be back on-line!", "",
     true},
    {400, "HTTP Bad request. Page: [lastpage]", "", true},
    {401, "HTTP Unauthorised. Page: [lastpage]", "", true},
    {403, "HTTP Forbidden. Page: [lastpage]", "", true},
    {404, "HTTP Page [lastpage] not found 404 error", "", true},
    {405, "HTTP Method not allowed. Page: [lastpage]", "", true},
    {406, "HTTP Not acceptable. Page: [lastpage", "", false},
    {407, "HTTP Proxy authentication required. Page: [lastpage", "", false},
    {408, "HTTP Request timeout. Page: [lastpage", "", false},
    {409, "HTTP Conflict. Page: [lastpage", "", false},
    {410, "HTTP Gone. Page: [lastpage", "", false},
    {411, "HTTP Length required. Page: [lastpage", "", false},
    {412, "HTTP Precondition failed. Page: [lastpage", "", false},
    {413, "HTTP Request entity too large. Page: [lastpage", "", false},
    {414, "HTTP Request URI too log. Page: [lastpage", "", false},
    {415, "HTTP Unsupported media type. Page: [lastpage", "", false},
    {416, "HTTP Requested range not satisfiable. Page: [lastpage", "", false},
    {417, "HTTP Expectation failed. Page: [lastpage", "", false},
    {500, "HTTP Internal server error. Page: [lastpage]", "", true},
    {502, "HTTP Bad gateway. Page: [lastpage]", "", true},
    {503, "HTTP Server overloaded.", "", true},
    {504, "HTTP Gateway timeout.", "", true},
    {505, "HTTP Version not supported.", "", true},
    {kExUnknownBrowser, "Unrecognised browser: [browser]", "", false},
    {kExUnknownSpider, "New unknown spider detected: [spider]", "", true},
};

}  // namespace vantry
