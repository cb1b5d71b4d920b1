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
constexpr size_t kRowsATurn = 200;
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

// Whose rows a page shows, and how far it has come. The request is gone when the later pieces are made.
struct AskedVisit {
  std::string ip, site, domain, asked_domain = {};
  int32_t visit = 0;
  RowsPlace at = {};
  size_t rows = 0;

  VisitPlace Place() const { return {ip, site, visit}; }
};

}  // namespace

PieceSource VisitorDetailsPieces(const PageContext& c, int client_no, std::string_view domain_visitor) {
  const SiteVisitor parts = FindVisitor(c, client_no, domain_visitor);
  if (parts.site == 0) return OnePiece(NotMonitoredPage(c, parts.domain));
  auto page = std::make_shared<PagePieces>(c, "Interface.VisitorDetailsTable");
  const SiteRec& site = c.t.Site(parts.site);
  const auto visit = std::make_shared<AskedVisit>(
      AskedVisit{std::string(parts.ip), site.Name, site.Domain, std::string(parts.domain), parts.visit});
  page->AddOnce([&c, visit](PageText& text) {
    text.HTMLHeader("Visit Details", true);
    if (Status status = NeedsHistory(c); !status.ok()) return status;
    text << kVisitTable << text.WebStyle() << "> ";
    text.AddHeaderRow(PageText::ProductLink() + ":" + UrlForm(text.Show(visit->domain)) + " [Visitor Information] ", 3,
                      true);
    if (Status status = DetailRows(c, text, visit->Place()); !status.ok()) return status;
    AddHeadings(text, {"Time", "Page Visited", "Status"});
    return Status::Ok();
  });
  page->AddTurns([&c, visit](PageText& text, bool& again) {
    std::vector<StoredPage> rows;
    const Status status = c.history.ReadPages(visit->Place(), visit->at, kRowsATurn, rows);
    for (const StoredPage& row : rows) VisitedPage(text, visit->domain, row);
    visit->rows += rows.size();
    again = !visit->at.ended;
    return status;
  });
  page->AddOnce([visit, path = std::string(c.clients[client_no].Path)](PageText& text) {
    const std::string url = std::string(text.Show(path)) +
                            "?PREVIOUS&domain=" + std::string(text.Show(visit->asked_domain)) + ":" +
                            std::string(text.Show(visit->ip));
    text.AddHeaderRow(std::to_string(visit->rows) + " Pages Visted " + text.AddButton("Previous Visits", url), 3,
                      false);
    text << "</table><center>\r\n";
    text.HTMLFooter();
    return Status::Ok();
  });
  return SourceOf(std::move(page));
}

std::string VisitorDetailsTable(const PageContext& c, int client_no, std::string_view domain_visitor) {
  return WholeText(VisitorDetailsPieces(c, client_no, domain_visitor));
}

PieceSource PreviousVisitsPieces(const PageContext& c, int client_no, std::string_view domain_visitor) {
  constexpr int kColumns = 10;
  const SiteVisitor parts = FindVisitor(c, client_no, domain_visitor);
  if (parts.site == 0) return OnePiece(NotMonitoredPage(c, parts.domain));
  auto page = std::make_shared<PagePieces>(c, "Interface.PreviousVisitsTable");
  const SiteRec& site = c.t.Site(parts.site);
  const auto visits = std::make_shared<AskedVisit>(AskedVisit{std::string(parts.ip), site.Name, site.Domain});
  page->AddOnce([&c, visits](PageText& text) {
    text.HTMLHeader("Previous Visits", true);
    if (Status status = NeedsHistory(c); !status.ok()) return status;
    text << kPreviousTable << text.WebStyle() << "> ";
    std::optional<StoredVisitor> known;
    if (Status status = c.history.ReadVisitor(visits->ip, visits->site, known); !status.ok()) return status;
    text.AddHeaderRow("Previous Visits For " + std::string(text.Show(known ? known->dns : "")) + " On " +
                          UrlForm(text.Show(visits->domain)),
                      kColumns, true);
    AddHeadings(text, {"No", "Date", "Time", "First Page", "Last Page", "Mins On Site", "Pages Seen", "Browser",
                       "Spider", "Referrer"});
    return Status::Ok();
  });
  page->AddTurns([&c, visits](PageText& text, bool& again) {
    std::vector<StoredVisit> rows;
    const Status status = c.history.ReadVisits(visits->ip, visits->site, visits->at, kRowsATurn, rows);
    for (const StoredVisit& row : rows) PreviousVisit(c, text, visits->domain, row);
    visits->rows += rows.size();
    again = !visits->at.ended;
    return status;
  });
  page->AddOnce([visits](PageText& text) {
    text.AddHeaderRow(std::to_string(visits->rows) + " Previous Visits", kColumns, true);
    text << "</table></center>";
    text.HTMLFooter();
    return Status::Ok();
  });
  return SourceOf(std::move(page));
}

std::string PreviousVisitsTable(const PageContext& c, int client_no, std::string_view domain_visitor) {
  return WholeText(PreviousVisitsPieces(c, client_no, domain_visitor));
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
