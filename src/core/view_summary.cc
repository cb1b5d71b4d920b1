#include "core/view_summary.h"

namespace vantry {
namespace {

// What a summary counts, of one site or of all.
struct Counts {
  int32_t active = 0;
  int32_t total_visitors = 0, today_visitors = 0;
  int32_t total_alerts = 0, today_alerts = 0;
  int32_t total_spiders = 0, today_spiders = 0;
  int32_t total_exceptions = 0, today_exceptions = 0;
};

Counts CountsOf(const SiteRec& s) {
  return {s.CurrentVisitors, s.TotalVisitors, s.TodayVisitors,   s.TotalAlerts,    s.TodayAlerts,
          s.TotalSpiders,    s.TodaySpiders,  s.TotalExceptions, s.TodayExceptions};
}

Counts CountsOfAll(const LiveTables& t) {
  return {t.Visitors.Count(), t.TotalVisitorCount, t.TodayVisitorCount,   t.TotalAlertCount,    t.TodayAlertCount,
          t.TotalSpiderCount, t.TodaySpiderCount,  t.TotalExceptionCount, t.TodayExceptionCount};
}

std::string CountText(int view_type, const Counts& n) {
  const auto listed = [](int32_t total, const char* what, int32_t today) {
    return " [" + std::to_string(total) + what + "] Today:" + std::to_string(today);
  };
  switch (view_type) {
    case kViewAlerts:
      return listed(n.total_alerts, " Alerts", n.today_alerts);
    case kViewSpiders:
      return listed(n.total_spiders, " Spiders", n.today_spiders);
    case kViewExceptions:
      return listed(n.total_exceptions, " Exceptions", n.today_exceptions);
    default:
      return " [" + std::to_string(n.active) + " Active Visitors] Total:" + std::to_string(n.total_visitors) +
             " Today:" + std::to_string(n.today_visitors);
  }
}

bool ShowsVisitors(int view_type) {
  return view_type < kViewAlerts || view_type > kViewExceptions;
}

}  // namespace

std::string_view ViewName(int view_type) {
  constexpr std::string_view kNames[] = {"Current Visitors", "Current Alerts", "Visited Spiders", "Exceptions"};
  return kNames[ShowsVisitors(view_type) ? 0 : view_type - 1];
}

std::string HeaderSummary(const LiveTables& t) {
  const int type = t.CurrentViewType;
  if (t.CurrentView <= 0 || t.CurrentView > t.SiteCount()) return "All Sites" + CountText(type, CountsOfAll(t));
  const SiteRec& site = t.Site(t.CurrentView);
  std::string text = site.Name + CountText(type, CountsOf(site));
  if (ShowsVisitors(type)) text += " Peak:" + std::to_string(site.PeakToday);
  if (site.Rests()) text += " [Stopped]";
  if (site.Sleeping) text += " [Sleep Mode]";
  return text;
}

}  // namespace vantry
