// Today's lists: alerts, spiders and exceptions.
#include "core/lists.h"
#include "core/text.h"
#include "web/page_parts.h"
#include "web/pages.h"

namespace vantry {
namespace {

constexpr int kAlertColumns = 8, kSpiderColumns = 7, kExceptionColumns = 4, kTypeColumns = 3;
constexpr std::string_view kAlertNo = "&alertno=";

struct AlertChoice {
  std::string_view domain;
  std::optional<int32_t> number;
};

AlertChoice ReadChoice(std::string_view text) {
  const size_t at = text.find(kAlertNo);
  if (at == std::string_view::npos) return {text, std::nullopt};
  return {text.substr(0, at), LeadingNumber(text.substr(at + kAlertNo.size()))};
}

std::string Count(std::string_view label, int64_t count) {
  return " [" + std::string(label) + std::to_string(count) + "]";
}

// Adds the rows of a site's list to a page, and below them what `end` makes of their number. A page shows the rows of
// the day on which it began that were there when its table began and have not been dropped when it comes to them.
template <class Row>
void AddDayRows(const PageContext& c, PagePieces& page, const DayList<Row>& list, int16_t n,
                std::function<bool(PageText&, const Row&)> add, std::function<void(PageText&, int count)> end) {
  struct Place {
    uint64_t next, end;
    Day today;
    int count = 0;
  };
  const auto place = std::make_shared<Place>(Place{list.FirstNumber(), list.EndNumber(), DayOf(c.clock.Now())});
  page.Add([&list, n, place, add = std::move(add)](PageText& text) {
    constexpr int kRowsATurn = 2000;
    place->next = std::max(place->next, list.FirstNumber());
    for (int i = 0; i < kRowsATurn && place->next < place->end; ++i, ++place->next) {
      if (text.Text().size() >= PagePieces::kPieceBytes) break;
      const Row& row = list.At(place->next);
      if (row.site == n && DayOf(row.when) == place->today && add(text, row)) ++place->count;
    }
    return place->next < place->end;
  });
  page.Add([place, end = std::move(end)](PageText& text) {
    end(text, place->count);
    return false;
  });
}

void AddAlertRow(PageText& page, const AlertRow& row, const SiteRec& site, const ListTexts& with) {
  using namespace log_grid;
  const std::string visit = kList.Text(row, kVisit, with);
  page << "<tr>";
  page.AddCell(page.PopupLink({"VISITOR", site.Domain, row.ip + "!" + visit, "Click To View Visit Details"},
                              kList.Text(row, kNo, with)),
               {.mouse_over = true});
  page.AddCell(page.PopupLink({"PREVIOUS", site.Domain, row.ip, "Click To View Previous Visits"}, visit),
               {.mouse_over = true});
  page.AddCell(FormatTime(SecondOfDay(row.when)));
  page.AddCell(page.Show(row.page), {.back_colour = kList.colour(row) == kColourAlarm ? "Red" : ""});
  page.AddCell(page.Show(row.dns));
  page.AddCell(kList.Text(row, kMinsOnSite, with));
  page.AddCell(page.Show(row.country));
  page.AddCell(page.LinkTo(row.referrer, row.referrer), {.mouse_over = true});
  page << "</tr>\r\n";
}

// The path is taken at once: the slot may have another client when the end of the page is written.
std::function<void(PageText&)> BackToSites(const PageContext& c, int client_no) {
  return [path = std::string(c.clients[client_no].Path)](PageText& page) { page.BackToSites(page.Show(path)); };
}

void AddAlertTypes(const PageContext& c, int client_no, PageText& page, int16_t n) {
  const SiteRec& site = c.t.Site(n);
  const std::string url =
      std::string(page.Show(c.clients[client_no].Path)) + "?ALERTSTABLE&site=" + std::string(page.Show(site.Domain));
  page.AddHeaderRow(
      "Alerts Raised Today For: " + UrlForm(page.Show(site.Domain)) + Count("Total Today:", site.TodayAlerts),
      kTypeColumns, true);
  page << "<tr>";
  page.AddHeading("No", Align::kRight);
  page.AddHeading("Name");
  page.AddHeading("Raised Today", Align::kRight);
  page << "</tr>\r\n";
  for (const AlertRec& alert : c.t.Alerts) {
    if (alert.Site != n) continue;
    const std::string no = std::to_string(alert.AlertNo);
    page << "<tr>";
    page.AddCell(no, {.align = Align::kRight});
    page.AddCell(
        PageText::AddLink(url + std::string(kAlertNo) + no, page.Show(alert.Name), {.title = "Click To View Alerts"}),
        {.mouse_over = true});
    page.AddCell(std::to_string(alert.AlertHits), {.align = Align::kRight});
    page << "</tr>\r\n";
  }
  page << "<tr>";
  page.AddCell("");
  page.AddCell(PageText::AddLink(url, "All Alerts", {.title = "Click To View All Alerts"}), {.mouse_over = true});
  page.AddCell("");
  page << "</tr>\r\n";
  page.AddHeaderRow("Click an Alert Type to view the alerts list.", kTypeColumns, false, PageText::Row::kGrey);
  page.BackToSites(page.Show(c.clients[client_no].Path));  // Inside the table, unlike on the other pages.
}

void AddAlertsHead(const PageContext& c, PageText& page, int16_t n, const AlertChoice& choice) {
  const SiteRec& site = c.t.Site(n);
  std::string heading =
      "Alerts Raised Today For: " + UrlForm(page.Show(site.Domain)) + Count("Total Today:", site.TodayAlerts);
  for (const AlertRec& alert : c.t.Alerts) {
    if (alert.Site != n || alert.AlertNo != choice.number) continue;
    heading += " [" + std::string(page.Show(alert.Name)) + ": Total:" + std::to_string(alert.AlertHits) + "]";
    break;
  }
  page.AddHeaderRow(heading, kAlertColumns, true);
  AddHeadings(page, {"No", "Visit", "Start Time", "Start Page", "DNS", "Mins On Site", "Loc", "Referrer"});
}

void AddSpiderRow(PageText& page, const SpiderRow& row, const ListTexts& with) {
  page << "<tr>";
  page.AddCell(spider_grid::kList.Text(row, spider_grid::kNo, with));
  page.AddCell(page.Show(row.dns));
  page.AddCell(page.Show(row.engine));
  page.AddCell(FormatTime(SecondOfDay(row.when)));
  page.AddCell(page.Show(row.page));
  page.AddCell(page.Show(row.country));
  page.AddCell(page.LinkTo(row.referrer, row.referrer), {.mouse_over = true});
  page << "</tr>\r\n";
}

void AddExceptionRow(PageText& page, const ExceptionRow& row, const ListTexts& with) {
  page << "<tr>";
  page.AddCell(ex_grid::kList.Text(row, ex_grid::kNo, with));
  page.AddCell(ex_grid::kList.Text(row, ex_grid::kNumber, with));
  page.AddCell(FormatTime(SecondOfDay(row.when)));
  page.AddCell(page.Show(row.details));
  page << "</tr>\r\n";
}

}  // namespace

PieceSource AlertsTypeListPieces(const PageContext& c, int client_no, std::string_view domain) {
  const int16_t number = FindSiteByDomain(c, client_no, domain);
  if (number == 0 || c.t.Site(number).AlertDefinitions < 2) return AlertsTablePieces(c, client_no, domain);
  const auto rows = [&](PagePieces& page, int16_t n) { AddAlertTypes(c, client_no, page.Text(), n); };
  return LiveTable(c, client_no, {"Interface.AlertsTypeList", domain, rows, [](PageText&) {}});
}

PieceSource AlertsTablePieces(const PageContext& c, int client_no, std::string_view argument) {
  const AlertChoice choice = ReadChoice(argument);
  const auto rows = [&](PagePieces& page, int16_t n) {
    AddAlertsHead(c, page.Text(), n, choice);
    const auto add = [&c, n, number = choice.number](PageText& text, const AlertRow& row) {
      if (number && row.alert_no != *number) return false;
      AddAlertRow(text, row, c.t.Site(n), {c.t, c.regional});
      return true;
    };
    AddDayRows<AlertRow>(c, page, c.t.logGrid, n, add, [](PageText& text, int count) {
      text.AddHeaderRow(std::to_string(count) + " Alerts Raised Today. Click a Visit Number to view the visit details.",
                        kAlertColumns, false, PageText::Row::kGrey);
    });
  };
  return LiveTable(c, client_no,
                   {"Interface.AlertsTable", choice.domain, rows, [back = BackToSites(c, client_no)](PageText& page) {
                      back(page);
                      page.Legend({{"Start Page", "Red", "",
                                    "The visitor behaves like an intruder, or the alert has this colour."}});
                      page.PopupScript();  // What a click on a number calls.
                    }});
}

PieceSource SpidersTablePieces(const PageContext& c, int client_no, std::string_view domain) {
  const auto rows = [&](PagePieces& page, int16_t n) {
    const SiteRec& site = c.t.Site(n);
    PageText& head = page.Text();
    head.AddHeaderRow(
        "Spiders Spotted Today For: " + UrlForm(head.Show(site.Domain)) + Count("Total Today:", site.TodaySpiders),
        kSpiderColumns, true);
    AddHeadings(head, {"No", "DNS", "Search Engine", "Time", "Page Scanned", "Loc", "Referrer"});
    const auto add = [&c](PageText& text, const SpiderRow& row) {
      AddSpiderRow(text, row, {c.t, c.regional});
      return true;
    };
    AddDayRows<SpiderRow>(c, page, c.t.spiderGrid, n, add, [](PageText& text, int count) {
      text.AddHeaderRow(std::to_string(count) + " Spiders Spotted Today", kSpiderColumns, false, PageText::Row::kGrey);
    });
  };
  return LiveTable(c, client_no, {"Interface.SpidersTable", domain, rows, BackToSites(c, client_no)});
}

PieceSource ExceptionsTablePieces(const PageContext& c, int client_no, std::string_view domain) {
  const auto rows = [&](PagePieces& page, int16_t n) {
    const SiteRec& site = c.t.Site(n);
    PageText& head = page.Text();
    head.AddHeaderRow("Exceptions Raised Today For: " + UrlForm(head.Show(site.Domain)) +
                          Count("Total Exceptions Today:", site.TodayExceptions),
                      kExceptionColumns, true);
    AddHeadings(head, {"No", "Exception No", "Time", "Details"});
    const auto add = [&c](PageText& text, const ExceptionRow& row) {
      AddExceptionRow(text, row, {c.t, c.regional});
      return true;
    };
    AddDayRows<ExceptionRow>(c, page, c.t.exGrid, n, add, [](PageText& text, int count) {
      text.AddHeaderRow(std::to_string(count) + " Exceptions Raised Today", kExceptionColumns, false,
                        PageText::Row::kGrey);
    });
  };
  return LiveTable(c, client_no, {"Interface.ExceptionsTable", domain, rows, BackToSites(c, client_no)});
}

std::string AlertsTypeList(const PageContext& c, int client_no, std::string_view domain) {
  return WholeText(AlertsTypeListPieces(c, client_no, domain));
}

std::string AlertsTable(const PageContext& c, int client_no, std::string_view domain) {
  return WholeText(AlertsTablePieces(c, client_no, domain));
}

std::string SpidersTable(const PageContext& c, int client_no, std::string_view domain) {
  return WholeText(SpidersTablePieces(c, client_no, domain));
}

std::string ExceptionsTable(const PageContext& c, int client_no, std::string_view domain) {
  return WholeText(ExceptionsTablePieces(c, client_no, domain));
}

}  // namespace vantry
