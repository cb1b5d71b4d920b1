#include "core/visitor_rows.h"

#include "core/text.h"

namespace vantry {

bool ShowsSite(const LiveTables& t, int16_t site) {
  return t.CurrentView <= 0 || site == t.CurrentView;
}

void AddToGrid(LiveTables& t, VisitorRec& v) {
  v.Hidden = !ShowsSite(t, v.Site);
}

void FillDayRow(const LiveTables& t, const VisitorRec& v, VisitorDayRow& row) {
  row.when = v.StartTime;
  row.site = v.Site;
  row.hidden = !ShowsSite(t, v.Site);
  row.visit_no = v.VisitNo;
  row.visit_count = v.VisitCount;
  row.ip = v.IP;
  row.dns = v.DNS;
  row.page = v.Page;
  row.country = v.CountryCode;
  row.referrer = v.Referrer;
}

void AddSpider(LiveTables& t, VisitorRec& v) {
  SiteRec& site = t.Site(v.Site);
  ++t.TotalSpiderCount;
  ++t.TodaySpiderCount;
  ++site.TotalSpiders;
  ++site.TodaySpiders;
  SpiderRow row;
  FillDayRow(t, v, row);
  row.engine = v.SpiderName;
  t.spiderGrid.Add(std::move(row));
  v.SpiderPending = false;
}

void HideRowsOutsideView(LiveTables& t, const std::function<int(int16_t)>& exception_number) {
  const int16_t view = t.CurrentView;
  const SiteRec* current = view > 0 && view <= t.SiteCount() ? &t.Site(view) : nullptr;
  t.Visitors.ForEach(
      [&](int32_t, VisitorRec& v) { v.Hidden = view > 0 && !(current && t.Site(v.Site).Name == current->Name); });
  for (AlertRow& row : t.logGrid) row.hidden = view > 0 && !ShowsAlert(t, row.site, row.alert_no);
  for (SpiderRow& row : t.spiderGrid) row.hidden = !ShowsSite(t, row.site);
  t.Visitors.NoteViewChange();
  const int filter = ExceptionFilter(t, exception_number);
  for (ExceptionRow& row : t.exGrid) row.hidden = !ShowsException(t, row, filter);
}

bool ShowsAlert(const LiveTables& t, int16_t site, int16_t alert_no) {
  return ShowsSite(t, site) && (t.Site(site).AlertView == 0 || t.Site(site).AlertView == alert_no);
}

int ExceptionFilter(const LiveTables& t, const std::function<int(int16_t)>& exception_number) {
  const int16_t view = t.CurrentView;
  const bool one = view > 0 && view <= t.SiteCount() && t.Site(view).ExceptionView != 0;
  return one ? exception_number(t.Site(view).ExceptionView) : 0;
}

bool ShowsException(const LiveTables& t, const ExceptionRow& row, int filter) {
  if (t.CurrentView <= 0 || row.site == 0) return true;
  return row.site == t.CurrentView && (filter == 0 || filter == row.number);
}

std::string MinutesText(int64_t seconds) {
  if (seconds <= 60) return "0:" + PadNumber(seconds, 2);
  return std::to_string(seconds / 60) + ":" + PadNumber(seconds % 60, 2);
}

std::string VisitorTip(const VisitorRec& v, const Regional& regional) {
  std::string tip;
  if (v.VisitCount > 1) tip = "First Visited " + regional.ShortDate(DayOf(v.FirstVisited)) + " ";
  tip += std::to_string(v.Pages) + " Page(s) ";
  for (const std::string_view part : {v.CountryName.View(), v.Browser.View()}) {
    if (!part.empty()) tip.append(part).append(" ");
  }
  tip.pop_back();
  return tip;
}

std::string SiteNodeText(const SiteRec& site) {
  if (site.Rests()) return site.Name + " (Paused)";
  return site.Name + " (" + std::to_string(site.CurrentVisitors) + ")";
}

}  // namespace vantry
