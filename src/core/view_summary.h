// The texts above a list: which view it is, and its counts in one line. The window and the reports show the same ones.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/tables.h"

namespace vantry {

// The lists that a view can show, as LiveTables::CurrentViewType numbers them.
enum ViewType : int16_t { kViewVisitors = 1, kViewAlerts = 2, kViewSpiders = 3, kViewExceptions = 4 };

// "Current Visitors", "Current Alerts", "Visited Spiders", "Exceptions"; visitors for any other number, as a registry
// file may hold one.
std::string_view ViewName(int view_type);

// The counts of the current view, such as "Shop [3 Active Visitors] Total:120 Today:40 Peak:7", with the state of a
// site that is not monitored. A view of a site that does not exist counts as that of all sites.
std::string HeaderSummary(const LiveTables& t);

}  // namespace vantry
