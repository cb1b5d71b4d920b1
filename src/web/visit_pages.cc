// Pages about what is stored: one visit, the visits of one address, the sites that visitors came from.
#include <algorithm>

#include "core/text.h"
#include "web/page_parts.h"
#include "web/pages.h"

namespace vantry {
namespace {

constexpr char kVisitTable[] =
    "<p><br><center><table border=\"1\" cellspacing=\"0\" cellpadding=\"3\" bordercolorlight=\"#808080\" "
    "bordercolordark=\"#FFFFFF\" ";
constexpr char kPreviousTable[] =
    "<p><br><center><table border=\"1\" bgcolor=\"#FFFFFF\" cellspacing=\"0\" cellpadding=\"3\" "
    "bordercolorlight=\"#808080\" bordercolordark=\"#FFFFFF\" ";
constexpr size_t kMaxAddress = 45;  // Of IPv6 with an address of IPv4 at its end.

struct DomainVisitor {
  std::string_view domain, ip;
  int32_t visit = 0;
};

// "domain:address!visit"; the visit may be missing.
DomainVisitor SplitAt(std::string_view text, size_t colon) {
  DomainVisitor parts{.domain = text.substr(0, colon), .ip = text.substr(colon + 1)};
  if (const size_t mark = parts.ip.find('!'); mark != std::string_view::npos) {
    parts.visit = LeadingNumber(parts.ip.substr(mark + 1));
    parts.ip = parts.ip.substr(0, mark);
  }
  return parts;
}

bool IsAddress6(std::string_view text) {
  return Contains(text, "::") || std::count(text.begin(), text.end(), ':') == 7;
}

std::string JoinedStamp(const std::string& date, std::string_view time) {
  return date.empty() && time.empty() ? std::string() : date + " " + std::string(time);
}

std::string DateText(const Regional& regional, std::optional<Day> day) {
  return day ? regional.ShortDate(*day) : std::string();
}

// The domain of an argument and what follows it.
struct SiteVisitor {
  int16_t site = 0;  // 0 for an unknown domain.
  std::string_view domain = {}, ip = {};
  int32_t visit = 0;
};

// The domain ends at the last colon. An address of IPv6 has colons of its own, and the domain may have a port. No more
// of them are tried than an address can have, as a text of nothing but colons must not keep the program busy.
SiteVisitor FindVisitor(const PageContext& c, int client_no, std::string_view text) {
  size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) return {.domain = text};
  const DomainVisitor last = SplitAt(text, colon);
  const size_t end = std::min(text.find('!', colon), text.size());
  for (DomainVisitor parts = last;; parts = SplitAt(text, colon)) {
    const int16_t site = parts.ip == last.ip || IsAddress6(parts.ip) ? FindSiteByDomain(c, client_no, parts.domain) : 0;
    if (site > 0) return {site, parts.domain, parts.ip, parts.visit};
    if (colon == 0 || (colon = text.rfind(':', colon - 1)) == std::string_view::npos) break;
    if (end - colon - 1 > kMaxAddress) break;
  }
  return {.domain = last.domain};
}

// A visit of an earlier day has no row of its own here: its key has that day's date.
Status DetailRows(const PageContext& c, PageText& page, const VisitPlace& place) {
  std::optional<StoredVisitor> known;
  std::optional<StoredVisit> seen;
  if (Status status = c.history.ReadVisitor(place.ip, place.site, known); !status.ok()) return status;
  if (Status status = c.history.ReadVisit(place, DayOf(c.clock.Now()), seen); !status.ok()) return status;
  const StoredVisitor visitor = known.value_or(StoredVisitor{});
  const StoredVisit visit = seen.value_or(StoredVisit{});
  page.AddLabelRow("Number Of Visits", known ? std::to_string(visitor.visits) : "");
  page.AddLabelRow("First Visit", page.Show(JoinedStamp(DateText(c.regional, visitor.first_date), visitor.first_time)));
  page.AddLabelRow("IP Address", page.Show(place.ip));
  page.AddLabelRow("DNS", page.Show(visitor.dns));
  page.AddLabelRow("Location", page.Show(visitor.country));
  page.AddLabelRow("Session Started", page.Show(JoinedStamp(DateText(c.regional, visit.date), visit.time)));
  page.AddLabelRow("Browser", page.Show(visit.browser));
  page.AddLabelRow("Referrer", page.LinkTo(visit.referrer, visit.referrer));
  if (visit.is_spider) page.AddLabelRow("Spider", "Yes: " + std::string(page.Show(visit.spider)));
  return Status::Ok();
}

void VisitedPage(PageText& page, std::string_view domain, const StoredPage& row) {
  page << "<tr>";
  page.AddCell(page.Show(row.time));
  page.AddCell(page.PageLink(domain, row.page), {.mouse_over = true});
  page.AddCell(std::to_string(row.status), {.align = Align::kRight});
  page << "</tr>\r\n";
}

void PreviousVisit(const PageContext& c, PageText& page, std::string_view domain, const StoredVisit& row) {
  page << "<tr>";
  page.AddCell(page.Show(row.number));
  page.AddCell(DateText(c.regional, row.date));
  page.AddCell(page.Show(row.time));
  page.AddCell(page.PageLink(domain, row.first_page), {.mouse_over = true});
  page.AddCell(page.PageLink(domain, row.last_page), {.mouse_over = true});
  page.AddCell(page.Show(row.minutes));
  page.AddCell(std::to_string(row.pages_seen));
  page.AddCell(page.Show(row.browser));
  page.AddCell(row.is_spider ? "Y" : "");
  page.AddCell(page.LinkTo(row.referrer, row.referrer), {.mouse_over = true});
  page << "</tr>\r\n";
}

}  // namespace

std::string VisitorDetailsTable(const PageContext& c, int client_no, std::string_view domain_visitor) {
  const SiteVisitor parts = FindVisitor(c, client_no, domain_visitor);
  if (parts.site == 0) return NotMonitoredPage(c, parts.domain);
  return BuildPage(c, "Interface.VisitorDetailsTable", [&](PageText& page) {
    const SiteRec& site = c.t.Site(parts.site);
    const VisitPlace place{parts.ip, site.Name, parts.visit};
    page.HTMLHeader("Visit Details", true);
    if (Status status = NeedsHistory(c); !status.ok()) return status;
    page << kVisitTable << page.WebStyle() << "> ";
    page.AddHeaderRow(PageText::ProductLink() + ":" + UrlForm(page.Show(site.Domain)) + " [Visitor Information] ", 3,
                      true);
    if (Status status = DetailRows(c, page, place); !status.ok()) return status;
    AddHeadings(page, {"Time", "Page Visited", "Status"});
    std::vector<StoredPage> rows;
    const Status status = c.history.ReadPages(place, rows);
    for (const StoredPage& row : rows) VisitedPage(page, site.Domain, row);
    if (!status.ok()) return status;
    const std::string url = std::string(page.Show(c.clients[client_no].Path)) +
                            "?PREVIOUS&domain=" + std::string(page.Show(parts.domain)) + ":" +
                            std::string(page.Show(parts.ip));
    page.AddHeaderRow(std::to_string(rows.size()) + " Pages Visted " + page.AddButton("Previous Visits", url), 3,
                      false);
    page << "</table><center>\r\n";
    page.HTMLFooter();
    return Status::Ok();
  });
}

std::string PreviousVisitsTable(const PageContext& c, int client_no, std::string_view domain_visitor) {
  const SiteVisitor parts = FindVisitor(c, client_no, domain_visitor);
  if (parts.site == 0) return NotMonitoredPage(c, parts.domain);
  return BuildPage(c, "Interface.PreviousVisitsTable", [&](PageText& page) {
    constexpr int kColumns = 10;
    const SiteRec& site = c.t.Site(parts.site);
    page.HTMLHeader("Previous Visits", true);
    if (Status status = NeedsHistory(c); !status.ok()) return status;
    page << kPreviousTable << page.WebStyle() << "> ";
    std::optional<StoredVisitor> known;
    if (Status status = c.history.ReadVisitor(parts.ip, site.Name, known); !status.ok()) return status;
    page.AddHeaderRow("Previous Visits For " + std::string(page.Show(known ? known->dns : "")) + " On " +
                          UrlForm(page.Show(site.Domain)),
                      kColumns, true);
    AddHeadings(page, {"No", "Date", "Time", "First Page", "Last Page", "Mins On Site", "Pages Seen", "Browser",
                       "Spider", "Referrer"});
    std::vector<StoredVisit> rows;
    const Status status = c.history.ReadVisits(parts.ip, site.Name, rows);
    for (const StoredVisit& row : rows) PreviousVisit(c, page, site.Domain, row);
    if (!status.ok()) return status;
    page.AddHeaderRow(std::to_string(rows.size()) + " Previous Visits", kColumns, true);
    page << "</table></center>";
    page.HTMLFooter();
    return Status::Ok();
  });
}

PieceSource ReferrersTablePieces(const PageContext& c, int client_no, std::string_view domain) {
  const auto rows = [&](PagePieces& page, int16_t n) {
    constexpr int kColumns = 3;
    PageText& head = page.Text();
    head.AddHeaderRow("Top Referring Sites For: " + std::string(head.Show(domain)), kColumns, true);
    head << "<tr>";
    head.AddHeading("No", Align::kRight);
    head.AddHeading("Visitors", Align::kRight);
    head.AddHeading("DNS");
    head << "</tr>\r\n";
    page.AddOnce([&c, n](PageText& text) {
      if (Status status = NeedsHistory(c); !status.ok()) return status;
      std::vector<StoredReferrer> referrers;
      Status status = c.history.ReadReferrers(c.t.Site(n).Name, kMaxReferrers, referrers);
      int count = 0;
      for (const StoredReferrer& referrer : referrers) {
        text << "<tr>";
        text.AddCell(std::to_string(++count), {.align = Align::kRight});
        text.AddCell(std::to_string(referrer.visits), {.align = Align::kRight});
        text.AddCell(text.LinkTo(referrer.name, referrer.name), {.mouse_over = true});
        text << "</tr>\r\n";
      }
      if (status.ok()) {
        text.AddHeaderRow(std::to_string(count) + " Referring Sites", kColumns, false, PageText::Row::kGrey);
      }
      return status;
    });
  };
  const auto after = [path = std::string(c.clients[client_no].Path), domain = std::string(domain)](PageText& page) {
    page.BackToSite(page.Show(path), page.Show(domain));
  };
  return LiveTable(c, client_no, {"Interface.ReferrersTable", domain, rows, after});
}

std::string ReferrersTable(const PageContext& c, int client_no, std::string_view domain) {
  return WholeText(ReferrersTablePieces(c, client_no, domain));
}

}  // namespace vantry
