#include "core/visitor_rows.h"

#include "core/text.h"

namespace vantry {
namespace {

std::string_view ShownName(const VisitorRec& v) {
  if (!v.KnownName.empty()) return v.KnownName;
  return v.GroupMask.empty() ? v.DNS : v.GroupMask;
}

int16_t BrowserIcon(const VisitorRec& v) {
  if (v.IsSpider) return kIconSpider;
  const std::string_view code = std::string_view(v.Browser).substr(0, 2);
  if (code == "IE") return kIconBrowserIE;
  if (code == "NS") return kIconBrowserNS;
  if (code == "OP") return kIconBrowserOP;
  return kIconBrowserOther;
}

int16_t StateIcon(const VisitorRec& v) {
  if (v.Idle) return kIconIdle;
  return v.VisitCount == 1 ? kIconNewVisitor : kIconRepeatVisitor;
}

void FillChangingCells(GridRow& row, const VisitorRec& v) {
  const int16_t state = StateIcon(v);
  const auto known = static_cast<int16_t>(v.KnownName.empty() ? kIconGroup : kIconKnownName);
  const int16_t dns_icon = v.KnownName.empty() && v.GroupMask.empty() ? state : known;
  row.SetText(vs_grid::kDns, ShownName(v));
  row.SetIcon(vs_grid::kDns, dns_icon);
  row.SetIcon(vs_grid::kKey, v.HackCount > 3 ? static_cast<int16_t>(kIconSuspect) : dns_icon);
  row.SetText(vs_grid::kOnPage, v.Page + v.Query);
  row.SetIcon(vs_grid::kOnPage, static_cast<int16_t>(v.Status < 401 ? kIconNone : kIconFailedRequest));
  row.SetText(vs_grid::kLastTime, FormatTime(SecondOfDay(v.LastHitTime)));
  row.SetText(vs_grid::kReferrer, v.Referrer);
}

}  // namespace

bool ShowsSite(const LiveTables& t, int16_t site) {
  return t.CurrentView <= 0 || site == t.CurrentView;
}

void AddToGrid(LiveTables& t, VisitorRec& v) {
  GridRow& row = t.VsGrid.AddRow(v.Key);
  row.site = v.Site;
  row.when = v.StartTime;
  row.hidden = !ShowsSite(t, v.Site);
  row.SetText(vs_grid::kSite, t.Site(v.Site).Name);
  row.SetText(vs_grid::kKey, v.Key);
  row.SetText(vs_grid::kNo, std::to_string(v.VisitNo));
  row.SetText(vs_grid::kVisit, std::to_string(v.VisitCount));
  row.SetText(vs_grid::kStartTime, FormatTime(SecondOfDay(v.StartTime)));
  row.SetText(vs_grid::kBrowser, v.Browser);
  row.SetIcon(vs_grid::kBrowser, BrowserIcon(v));
  row.SetText(vs_grid::kLoc, v.CountryCode);
  FillChangingCells(row, v);
}

void UpdateGrid(LiveTables& t, VisitorRec& v) {
  GridRow* row = t.VsGrid.FindRow(v.Key);
  if (!row) return;
  FillChangingCells(*row, v);
  v.GridDirty = false;
}

void UpdateDirtyRows(LiveTables& t) {
  t.Visitors.ForEach([&](int32_t, VisitorRec& v) {
    if (v.GridDirty) UpdateGrid(t, v);
  });
}

void RemoveFromGrid(LiveTables& t, VisitorRec& v) {
  t.pageGrid.DeleteRows(v);
}

void RemoveRowBySite(LiveTables& t, int16_t site, std::string_view dns) {
  const std::string& name = t.Site(site).Name;
  t.VsGrid.ForEach([&](GridRow& row) {
    if (row.Text(vs_grid::kSite) == name && row.Text(vs_grid::kDns) == dns) t.VsGrid.DeleteRow(row);
  });
}

void AddSpider(LiveTables& t, VisitorRec& v, const Regional& regional) {
  SiteRec& site = t.Site(v.Site);
  ++t.TotalSpiderCount;
  ++t.TodaySpiderCount;
  ++site.TotalSpiders;
  ++site.TodaySpiders;
  GridRow& row = t.spiderGrid.AddRow(v.Key);
  row.site = v.Site;
  row.when = v.StartTime;
  row.hidden = !ShowsSite(t, v.Site);
  row.row_icon = kIconSpider;
  row.SetTexts({std::to_string(v.Site), site.Name, std::to_string(v.VisitNo), std::to_string(v.VisitCount), v.DNS,
                v.SpiderName, regional.General(v.StartTime), v.Page, v.CountryCode, v.Referrer});
  v.SpiderPending = false;
}

void HideRowsOutsideView(LiveTables& t, const std::function<int(int16_t)>& exception_number) {
  const int16_t view = t.CurrentView;
  const SiteRec* current = view > 0 && view <= t.SiteCount() ? &t.Site(view) : nullptr;
  t.VsGrid.ForEach(
      [&](GridRow& row) { row.hidden = view > 0 && !(current && row.Text(vs_grid::kSite) == current->Name); });
  t.logGrid.ForEach([&](GridRow& row) {
    row.hidden = view > 0 && !ShowsAlert(t, row.site, static_cast<int16_t>(LeadingNumber(row.Text(log_grid::kAlert))));
  });
  t.spiderGrid.ForEach([&](GridRow& row) { row.hidden = !ShowsSite(t, row.site); });
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

std::string MinutesOnSite(const VisitorRec& v) {
  const int64_t seconds = v.LastHitTime.s - v.StartTime.s;
  if (seconds <= 60) return "0:" + PadNumber(seconds, 2);
  return std::to_string(seconds / 60) + ":" + PadNumber(seconds % 60, 2);
}

std::string SiteNodeText(const SiteRec& site) {
  if (site.Paused) return site.Name + " (Paused)";
  return site.Name + " (" + std::to_string(site.CurrentVisitors) + ")";
}

}  // namespace vantry
