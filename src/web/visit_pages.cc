// Pages about what is stored: one visit, the visits of one address, the sites that visitors came from.
#include <algorithm>

#include "core/text.h"
#include "database/schema.h"
#include "web/interface.h"

namespace vantry {
namespace {

constexpr char kVisitTable[] =
    "<p><br><center><table border=\"1\" cellspacing=\"0\" cellpadding=\"3\" bordercolorlight=\"#808080\" "
    "bordercolordark=\"#FFFFFF\" ";
constexpr char kPreviousTable[] =
    "<p><br><center><table border=\"1\" bgcolor=\"#FFFFFF\" cellspacing=\"0\" cellpadding=\"3\" "
    "bordercolorlight=\"#808080\" bordercolordark=\"#FFFFFF\" ";
constexpr int kVisitNoDigits = 5;
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

// What a search or a step that gave no row means: the end, or a table that can't be read.
Status EndOfRows(int found, const Table& table) {
  return found < 0 ? Status::Error(Fail::kIo, table.Problem()) : Status::Ok();
}

std::string JoinedStamp(const std::string& date, std::string_view time) {
  return date.empty() && time.empty() ? std::string() : date + " " + std::string(time);
}

std::string DateText(const Regional& regional, std::optional<Day> day) {
  return day ? regional.ShortDate(*day) : std::string();
}

}  // namespace

// The domain ends at the last colon. An address of IPv6 has colons of its own, and the domain may have a port. No more
// of them are tried than an address can have: a text of colons alone must not keep the program busy.
Interface::SiteVisitor Interface::FindVisitor(std::string_view text) const {
  size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) return {.domain = text};
  const DomainVisitor last = SplitAt(text, colon);
  const size_t end = std::min(text.find('!', colon), text.size());
  for (DomainVisitor parts = last;; parts = SplitAt(text, colon)) {
    const int16_t site = parts.ip == last.ip || IsAddress6(parts.ip) ? FindSiteByDomain(parts.domain) : 0;
    if (site > 0) return {site, parts.domain, parts.ip, parts.visit};
    if (colon == 0 || (colon = text.rfind(':', colon - 1)) == std::string_view::npos) break;
    if (end - colon - 1 > kMaxAddress) break;
  }
  return {.domain = last.domain};
}

std::string Interface::VisitorDetailsTable(int client_no, std::string_view domain_visitor) {
  const SiteVisitor parts = FindVisitor(domain_visitor);
  const int16_t site = parts.site;
  if (site == 0) return NotMonitoredPage(parts.domain);
  return Build("Interface.VisitorDetailsTable", [&](PageText& page) {
    page.HTMLHeader("Visit Details", true);
    if (Status status = NeedsHistory(); !status.ok()) return status;
    page << kVisitTable << page.WebStyle() << "> ";
    page.AddHeaderRow(PageText::ProductLink() + ":" + UrlForm(Show(t_.Site(site).Domain)) + " [Visitor Information] ",
                      3, true);
    if (Status status = DetailRows(page, site, parts.ip, parts.visit); !status.ok()) return status;
    page << "<tr>";
    for (const char* title : {"Time", "Page Visited", "Status"}) page.AddHeading(title);
    page << "</tr>\r\n";
    int count = 0;
    if (Status status = PageRowsOf(page, site, parts.ip, parts.visit, count); !status.ok()) return status;
    const std::string url = std::string(Show(clients_[client_no].Path)) +
                            "?PREVIOUS&domain=" + std::string(Show(parts.domain)) + ":" + std::string(Show(parts.ip));
    page.AddHeaderRow(std::to_string(count) + " Pages Visted " + page.AddButton("Previous Visits", url), 3, false);
    page << "</table><center>\r\n";
    page.HTMLFooter();
    return Status::Ok();
  });
}

// A visit of an earlier day has no row of its own here: its key has that day's date.
Status Interface::DetailRows(PageText& page, int16_t site, std::string_view ip, int32_t visit) {
  const std::string& name = t_.Site(site).Name;
  Table &who = c_.history.VAVIS, &visits = c_.history.VAVISITS;
  const int visitor_found = who.FindEqual(who.Key({ip, name}));
  const int visit_found =
      visits.FindEqual(visits.Key({ip, name, FormatDayKey(DayOf(c_.clock.Now())), PadNumber(visit, kVisitNoDigits)}));
  if (visitor_found < 0) return EndOfRows(visitor_found, who);
  if (visit_found < 0) return EndOfRows(visit_found, visits);
  const bool known = visitor_found == Table::kOk, seen = visit_found == Table::kOk;
  const auto of_visitor = [&](size_t field) { return known ? who.Text(field) : std::string_view(); };
  const auto of_visit = [&](size_t field) { return seen ? visits.Text(field) : std::string_view(); };
  page.AddLabelRow("Number Of Visits", known ? std::to_string(who.Number(visitor::kVisits)) : "");
  page.AddLabelRow("First Visit", JoinedStamp(known ? DateText(c_.regional, who.Date(visitor::kFirstVDate)) : "",
                                              of_visitor(visitor::kFirstVTime)));
  page.AddLabelRow("IP Address", Show(ip));
  page.AddLabelRow("DNS", Show(of_visitor(visitor::kDNS)));
  page.AddLabelRow("Location", Show(of_visitor(visitor::kCountry)));
  page.AddLabelRow("Session Started", JoinedStamp(seen ? DateText(c_.regional, visits.Date(visits::kVisitDate)) : "",
                                                  of_visit(visits::kVisitTime)));
  page.AddLabelRow("Browser", Show(of_visit(visits::kBrowser)));
  const std::string referrer(of_visit(visits::kReferrer));
  page.AddLabelRow("Referrer", LinkTo(referrer, referrer));
  if (of_visit(visits::kSpider) == "Y") {
    page.AddLabelRow("Spider", "Yes: " + std::string(Show(of_visit(visits::kSpiderT))));
  }
  return Status::Ok();
}

Status Interface::PageRowsOf(PageText& page, int16_t site, std::string_view ip, int32_t visit, int& count) {
  const SiteRec& rec = t_.Site(site);
  Table& t = c_.history.VAPG;
  const std::string wanted(t.Key({ip, rec.Name, PadNumber(visit, kVisitNoDigits), ""}));
  int found = t.FindNearest(wanted);
  for (; found == Table::kOk; found = t.Step(1)) {
    if (t.Key({t.Text(pages::kIP), t.Text(pages::kSite), t.Text(pages::kVisitNo), ""}) != wanted) break;
    page << "<tr>";
    page.AddCell(Show(t.Text(pages::kPageTime)));
    page.AddCell(PageLink(rec, t.Text(pages::kPage)), {.mouse_over = true});
    page.AddCell(std::to_string(t.Number(pages::kStatus)), {.align = Align::kRight});
    page << "</tr>\r\n";
    ++count;
  }
  return EndOfRows(found, t);
}

std::string Interface::PreviousVisitsTable(int, std::string_view domain_visitor) {
  const SiteVisitor parts = FindVisitor(domain_visitor);
  const int16_t site = parts.site;
  if (site == 0) return NotMonitoredPage(parts.domain);
  return Build("Interface.PreviousVisitsTable", [&](PageText& page) {
    constexpr int kColumns = 10;
    const SiteRec& rec = t_.Site(site);
    page.HTMLHeader("Previous Visits", true);
    if (Status status = NeedsHistory(); !status.ok()) return status;
    page << kPreviousTable << page.WebStyle() << "> ";
    Table& who = c_.history.VAVIS;
    const int found = who.FindEqual(who.Key({parts.ip, rec.Name}));
    if (found < 0) return EndOfRows(found, who);
    const std::string dns(found == Table::kOk ? who.Text(visitor::kDNS) : std::string_view());
    page.AddHeaderRow("Previous Visits For " + std::string(Show(dns)) + " On " + UrlForm(Show(rec.Domain)), kColumns,
                      true);
    page << "<tr>";
    for (const char* title : {"No", "Date", "Time", "First Page", "Last Page", "Mins On Site", "Pages Seen", "Browser",
                              "Spider", "Referrer"}) {
      page.AddHeading(title);
    }
    page << "</tr>\r\n";
    int count = 0;
    if (Status status = PreviousRows(page, rec, parts.ip, count); !status.ok()) return status;
    page.AddHeaderRow(std::to_string(count) + " Previous Visits", kColumns, true);
    page << "</table></center>";
    page.HTMLFooter();
    return Status::Ok();
  });
}

Status Interface::PreviousRows(PageText& page, const SiteRec& site, std::string_view ip, int& count) {
  using namespace visits;
  Table& t = c_.history.VAVISITS;
  const std::string wanted(t.Key({ip, site.Name, "", ""}));
  int found = t.FindNearest(wanted);
  for (; found == Table::kOk; found = t.Step(1)) {
    if (t.Key({t.Text(kIP), t.Text(kSite), "", ""}) != wanted) break;
    const auto page_link = [&](size_t field) { return PageLink(site, t.Text(field)); };
    page << "<tr>";
    page.AddCell(Show(t.Text(kVisitNo)));
    page.AddCell(DateText(c_.regional, t.Date(kVisitDate)));
    page.AddCell(Show(t.Text(kVisitTime)));
    page.AddCell(page_link(kFirstPage), {.mouse_over = true});
    page.AddCell(page_link(kLastPage), {.mouse_over = true});
    page.AddCell(Show(t.Text(kMinsOn)));
    page.AddCell(std::to_string(t.Number(kPagesSeen)));
    page.AddCell(Show(t.Text(kBrowser)));
    page.AddCell(t.Text(kSpider) == "Y" ? "Y" : "");
    page.AddCell(LinkTo(t.Text(kReferrer), t.Text(kReferrer)), {.mouse_over = true});
    page << "</tr>\r\n";
    ++count;
  }
  return EndOfRows(found, t);
}

std::string Interface::ReferrersTable(int client_no, std::string_view domain) {
  const auto rows = [&](PageText& page, int16_t site) {
    constexpr int kColumns = 3;
    page.AddHeaderRow("Top Referring Sites For: " + std::string(Show(domain)), kColumns, true);
    page << "<tr>";
    page.AddHeading("No", Align::kRight);
    page.AddHeading("Visitors", Align::kRight);
    page.AddHeading("DNS");
    page << "</tr>\r\n";
    if (Status status = NeedsHistory(); !status.ok()) return status;
    c_.history.VAREF.SelectKey(1);
    int count = 0;
    Status status = ReferrerRows(page, t_.Site(site), count);
    c_.history.VAREF.SelectKey(0);
    if (!status.ok()) return status;
    page.AddHeaderRow(std::to_string(count) + " Referring Sites", kColumns, false, PageText::Row::kGrey);
    return Status::Ok();
  };
  return LiveTable("Interface.ReferrersTable", client_no, domain, rows,
                   [&](PageText& page) { page.BackToSite(Show(clients_[client_no].Path), Show(domain)); });
}

// The order of this key is descending, so the site's rows begin at its highest count.
Status Interface::ReferrerRows(PageText& page, const SiteRec& site, int& count) {
  using namespace referrers;
  Table& t = c_.history.VAREF;
  const std::string_view name = std::string_view(site.Name).substr(0, 20);
  int found = t.FindNearest(t.Key({site.Name, "99999"}));
  for (; found == Table::kOk; found = t.Step(1)) {
    if (t.Text(kSite) != Trim(name) || count == kMaxReferrers) break;
    if (t.Number(kVisits) == 0) continue;
    page << "<tr>";
    page.AddCell(std::to_string(++count), {.align = Align::kRight});
    page.AddCell(std::to_string(t.Number(kVisits)), {.align = Align::kRight});
    page.AddCell(LinkTo(t.Text(kName), t.Text(kName)), {.mouse_over = true});
    page << "</tr>\r\n";
  }
  return EndOfRows(found, t);
}

}  // namespace vantry
