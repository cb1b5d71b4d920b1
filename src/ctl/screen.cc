#include "ctl/screen.h"

namespace vantry {

TextTable SiteTableOf(const std::vector<SiteStatus>& sites) {
  TextTable table;
  table.columns = {{"Site", false, 6},      {"State"},         {"Visitors", true},
                   {"Alerts", true},        {"Spiders", true}, {"Exceptions", true},
                   {"Last read", false, 10}};
  for (const SiteStatus& s : sites) {
    table.rows.push_back({s.name, s.paused ? "paused" : "running", std::to_string(s.visitors), std::to_string(s.alerts),
                          std::to_string(s.spiders), std::to_string(s.exceptions), s.last_read});
  }
  return table;
}

TextTable VisitorTableOf(const std::vector<ListedVisitor>& visitors, bool with_domain) {
  TextTable table;
  // A visitor's address stays whole longest, as that is what people look for.
  table.columns = {{"Visit", true}, {"Visitor", false, 15}, {"Page", false, 10},   {"Start"},
                   {"Last hit"},    {"Browser", false, 6},  {"Referrer", false, 8}};
  if (with_domain) table.columns.insert(table.columns.begin(), {"Domain", false, 6});
  for (const ListedVisitor& v : visitors) {
    auto& row = table.rows.emplace_back();
    if (with_domain) row.push_back(v.domain);
    row.insert(row.end(), {v.visit_no, v.dns, v.page, v.start_time, v.last_time, v.browser, v.referrer});
  }
  return table;
}

}  // namespace vantry
