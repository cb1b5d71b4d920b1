#include "core/lists.h"

#include <algorithm>

#include "core/tables.h"
#include "core/visitor_rows.h"

namespace vantry {
namespace {

using With = const ListTexts&;

template <class Row>
std::string SiteNumber(const Row& row, With) {
  return std::to_string(row.site);
}

template <class Row>
std::string SiteName(const Row& row, With with) {
  return row.site > 0 ? with.t.Site(row.site).Name : std::string();
}

template <class Row>
std::string When(const Row& row, With with) {
  return with.regional.General(row.when);
}

template <class Row>
std::string VisitNo(const Row& row, With) {
  return std::to_string(row.visit_no);
}

template <class Row>
std::string VisitCount(const Row& row, With) {
  return std::to_string(row.visit_count);
}

// A field of a row that is text.
template <auto Field, class Row>
std::string TextOf(const Row& row, With) {
  return std::string(row.*Field);
}

// A field of a row that is a number or a time, for sorting.
template <auto Field, class Row>
int64_t NumberOf(const Row& row) {
  if constexpr (requires { (row.*Field).s; }) {
    return (row.*Field).s;
  } else {
    return row.*Field;
  }
}

std::string MinutesOnSite(const AlertRow& row, With) {
  return row.seconds_on_site ? MinutesText(*row.seconds_on_site) : std::string();
}

int64_t SecondsOnSite(const AlertRow& row) {
  return row.seconds_on_site.value_or(-1);
}

std::string ShownName(const VisitorRec& v, With) {
  if (!v.KnownName.empty()) return std::string(v.KnownName);
  return std::string(v.GroupMask.empty() ? v.DNS.View() : v.GroupMask.View());
}

int16_t NameIcon(const VisitorRec& v) {
  if (!v.KnownName.empty()) return kIconKnownName;
  if (!v.GroupMask.empty()) return kIconGroup;
  if (v.Idle) return kIconIdle;
  return v.VisitCount == 1 ? kIconNewVisitor : kIconRepeatVisitor;
}

int16_t KeyIcon(const VisitorRec& v) {
  return v.HackCount > 3 ? static_cast<int16_t>(kIconSuspect) : NameIcon(v);
}

int16_t PageIcon(const VisitorRec& v) {
  return v.Status < 401 ? kIconNone : kIconFailedRequest;
}

int16_t BrowserIcon(const VisitorRec& v) {
  if (v.IsSpider) return kIconSpider;
  const std::string_view code = std::string_view(v.Browser).substr(0, 2);
  if (code == "IE") return kIconBrowserIE;
  if (code == "NS") return kIconBrowserNS;
  if (code == "OP") return kIconBrowserOP;
  return kIconBrowserOther;
}

}  // namespace

namespace vs_grid {
namespace {
using Row = VisitorRec;
constexpr ListColumn<Row> kColumns[kCount] = {
    {"Site", 25, Align::kLeft, [](const Row& v, With with) { return with.t.Site(v.Site).Name; }},
    {" Key", 4, Align::kCentre, [](const Row& v, With) { return v.Key(); }, KeyIcon,
     [](const Row& v) -> int64_t { return KeyIcon(v); }},
    {"No", 5, Align::kRight, [](const Row& v, With) { return std::to_string(v.VisitNo); }, nullptr,
     NumberOf<&Row::VisitNo, Row>},
    {"Visit", 7, Align::kRight, [](const Row& v, With) { return std::to_string(v.VisitCount); }, nullptr,
     NumberOf<&Row::VisitCount, Row>},
    {"DNS", 37, Align::kLeft, ShownName, NameIcon},
    {"On Page", 33, Align::kLeft, [](const Row& v, With) { return v.Page + v.Query; }, PageIcon},
    {"Start Time", 11, Align::kCentre, [](const Row& v, With) { return FormatTime(SecondOfDay(v.StartTime)); }, nullptr,
     NumberOf<&Row::StartTime, Row>},
    {"Last Time", 11, Align::kCentre, [](const Row& v, With) { return FormatTime(SecondOfDay(v.LastHitTime)); },
     nullptr, NumberOf<&Row::LastHitTime, Row>},
    {"Browser", 7, Align::kLeft, TextOf<&Row::Browser, Row>, BrowserIcon},
    {"Loc", 3, Align::kLeft, TextOf<&Row::CountryCode, Row>},
    {"Referrer", 8, Align::kLeft, TextOf<&Row::Referrer, Row>}};
}  // namespace
const ListDescription<VisitorRec> kList{kColumns, kSite};
}  // namespace vs_grid

namespace log_grid {
namespace {
using Row = AlertRow;
constexpr ListColumn<Row> kColumns[kCount] = {
    {"SN", 2, Align::kLeft, SiteNumber<Row>, nullptr, NumberOf<&Row::site, Row>},
    {"Site", 30, Align::kLeft, SiteName<Row>},
    {"No", 5, Align::kRight, VisitNo<Row>, nullptr, NumberOf<&Row::visit_no, Row>},
    {"Alert", 5, Align::kRight, [](const Row& row, With) { return std::to_string(row.alert_no); }, nullptr,
     NumberOf<&Row::alert_no, Row>},
    {"Visit", 7, Align::kRight, VisitCount<Row>, nullptr, NumberOf<&Row::visit_count, Row>},
    {"DNS", 42, Align::kLeft, TextOf<&Row::dns, Row>},
    {"Date/Time", 30, Align::kCentre, When<Row>, nullptr, NumberOf<&Row::when, Row>},
    {"Page", 28, Align::kLeft, TextOf<&Row::page, Row>},
    {"Mins On Site", 12, Align::kRight, MinutesOnSite, nullptr, SecondsOnSite},
    {"Loc", 3, Align::kLeft, TextOf<&Row::country, Row>},
    {"Referrer", 8, Align::kLeft, TextOf<&Row::referrer, Row>}};
}  // namespace
const ListDescription<AlertRow> kList{kColumns, kSite,
                                      [](const Row& row) -> int16_t { return row.suspect ? kIconSuspect : kIconNone; },
                                      [](const Row& row) { return row.suspect ? kColourAlarm : row.alert_colour; }};
}  // namespace log_grid

namespace spider_grid {
namespace {
using Row = SpiderRow;
constexpr ListColumn<Row> kColumns[kCount] = {
    {"SN", 2, Align::kLeft, SiteNumber<Row>, nullptr, NumberOf<&Row::site, Row>},
    {"Site", 30, Align::kLeft, SiteName<Row>},
    {"No", 6, Align::kRight, VisitNo<Row>, nullptr, NumberOf<&Row::visit_no, Row>},
    {"Visit", 7, Align::kRight, VisitCount<Row>, nullptr, NumberOf<&Row::visit_count, Row>},
    {" Spider DNS", 38, Align::kLeft, TextOf<&Row::dns, Row>},
    {"Search Engine", 24, Align::kLeft, TextOf<&Row::engine, Row>},
    {"Date/Time", 30, Align::kCentre, When<Row>, nullptr, NumberOf<&Row::when, Row>},
    {"Page", 28, Align::kLeft, TextOf<&Row::page, Row>},
    {"Loc", 3, Align::kLeft, TextOf<&Row::country, Row>},
    {"Referrer", 8, Align::kLeft, TextOf<&Row::referrer, Row>}};
}  // namespace
const ListDescription<SpiderRow> kList{kColumns, kSite, [](const Row&) -> int16_t { return kIconSpider; }};
}  // namespace spider_grid

namespace ex_grid {
namespace {
using Row = ExceptionRow;
constexpr ListColumn<Row> kColumns[kCount] = {
    {"SN", 2, Align::kLeft, SiteNumber<Row>, nullptr, NumberOf<&Row::site, Row>},
    {"Site", 30, Align::kLeft, SiteName<Row>},
    {"No", 6, Align::kRight, [](const Row& row, With) { return std::to_string(row.no); }, nullptr,
     NumberOf<&Row::no, Row>},
    {"Number", 6, Align::kRight, [](const Row& row, With) { return std::to_string(row.number); }, nullptr,
     NumberOf<&Row::number, Row>},
    {"Date/Time", 34, Align::kCentre, When<Row>, nullptr, NumberOf<&Row::when, Row>},
    {" Details", 8, Align::kLeft, TextOf<&Row::details, Row>}};
}  // namespace
const ListDescription<ExceptionRow> kList{kColumns, kSite};
}  // namespace ex_grid

namespace page_grid {
namespace {
using Row = PageRow;
constexpr ListColumn<Row> kColumns[kCount] = {
    {"No", 4, Align::kRight, [](const Row& row, With) { return std::to_string(row.no); }, nullptr,
     NumberOf<&Row::no, Row>},
    {"Page", 31, Align::kLeft, TextOf<&Row::page, Row>},
    {"Time", 4, Align::kCentre, [](const Row& row, With) { return FormatTime(row.second_of_day); }, nullptr,
     NumberOf<&Row::second_of_day, Row>}};
}  // namespace
const ListDescription<PageRow> kList{kColumns, kCount};
}  // namespace page_grid

namespace trace_grid {
namespace {
using Row = TraceRow;

// Tabs are blanks here: in a few rows that are shown they are quicker found than in all that pass by.
std::string Line(const Row& row, With) {
  std::string text(row.text);
  std::replace(text.begin(), text.end(), '\t', ' ');
  return text;
}

constexpr ListColumn<Row> kColumns[kCount] = {
    {"", 8, Align::kLeft, TextOf<&Row::site, Row>},
    {"", 7, Align::kLeft, [](const Row& row, With) { return std::to_string(row.position); }, nullptr,
     NumberOf<&Row::position, Row>},
    {"", 0, Align::kLeft, Line}};
}  // namespace
const ListDescription<TraceRow> kList{kColumns, kCount};
}  // namespace trace_grid

}  // namespace vantry
