#include "core/lists.h"

#include "core/tables.h"

namespace vantry {
namespace {

template <class Row>
std::string SiteNumber(const Row& row, const ListTexts&) {
  return std::to_string(row.site);
}

template <class Row>
std::string SiteName(const Row& row, const ListTexts& with) {
  return row.site > 0 ? with.t.Site(row.site).Name : std::string();
}

template <class Row>
std::string When(const Row& row, const ListTexts& with) {
  return with.regional.General(row.when);
}

}  // namespace

namespace ex_grid {
namespace {
constexpr ListColumn<ExceptionRow> kColumns[kCount] = {
    {"SN", 2, Align::kLeft, SiteNumber<ExceptionRow>},
    {"Site", 30, Align::kLeft, SiteName<ExceptionRow>},
    {"No", 6, Align::kRight, [](const ExceptionRow& r, const ListTexts&) { return std::to_string(r.no); }},
    {"Number", 6, Align::kRight, [](const ExceptionRow& r, const ListTexts&) { return std::to_string(r.number); }},
    {"Date/Time", 34, Align::kCentre, When<ExceptionRow>},
    {" Details", 8, Align::kLeft, [](const ExceptionRow& r, const ListTexts&) { return r.details; }}};
}  // namespace
const ListDescription<ExceptionRow> kList{kColumns, kSite};
}  // namespace ex_grid

}  // namespace vantry
