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

bool IsToday(const PageContext& c, LogTime when) {
  return DayOf(when).n == DayOf(c.clock.Now()).n;
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

}  // namespace

std::string AlertsTypeList(const PageContext& c, int client_no, std::string_view domain) {
  const int16_t number = FindSiteByDomain(c.t, domain);
  if (number == 0 || c.t.Site(number).AlertDefinitions < 2) return AlertsTable(c, client_no, domain);
  const auto rows = [&](PageText& page, int16_t n) {
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
    return Status::Ok();
  };
  return LiveTable(c, client_no, {"Interface.AlertsTypeList", domain, rows, [](PageText&) {}});
}

std::string AlertsTable(const PageContext& c, int client_no, std::string_view argument) {
  const AlertChoice choice = ReadChoice(argument);
  const auto rows = [&](PageText& page, int16_t n) {
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
    int count = 0;
    for (const AlertRow& row : c.t.logGrid) {
      if (row.site != n || !IsToday(c, row.when) || (choice.number && row.alert_no != *choice.number)) continue;
      AddAlertRow(page, row, site, {c.t, c.regional});
      ++count;
    }
    page.AddHeaderRow(std::to_string(count) + " Alerts Raised Today. Click a Visit Number to view the visit details.",
                      kAlertColumns, false, PageText::Row::kGrey);
    return Status::Ok();
  };
  return LiveTable(c, client_no, {"Interface.AlertsTable", choice.domain, rows, [&](PageText& page) {
                                    page.BackToSites(page.Show(c.clients[client_no].Path));
                                    page.PopupScript();  // What a click on a number calls.
                                  }});
}

std::string SpidersTable(const PageContext& c, int client_no, std::string_view domain) {
  const auto rows = [&](PageText& page, int16_t n) {
    const SiteRec& site = c.t.Site(n);
    page.AddHeaderRow(
        "Spiders Spotted Today For: " + UrlForm(page.Show(site.Domain)) + Count("Total Today:", site.TodaySpiders),
        kSpiderColumns, true);
    AddHeadings(page, {"No", "DNS", "Search Engine", "Time", "Page Scanned", "Loc", "Referrer"});
    int count = 0;
    for (const SpiderRow& row : c.t.spiderGrid) {
      if (row.site != n || !IsToday(c, row.when)) continue;
      page << "<tr>";
      page.AddCell(spider_grid::kList.Text(row, spider_grid::kNo, {c.t, c.regional}));
      page.AddCell(page.Show(row.dns));
      page.AddCell(page.Show(row.engine));
      page.AddCell(FormatTime(SecondOfDay(row.when)));
      page.AddCell(page.Show(row.page));
      page.AddCell(page.Show(row.country));
      page.AddCell(page.LinkTo(row.referrer, row.referrer), {.mouse_over = true});
      page << "</tr>\r\n";
      ++count;
    }
    page.AddHeaderRow(std::to_string(count) + " Spiders Spotted Today", kSpiderColumns, false, PageText::Row::kGrey);
    return Status::Ok();
  };
  return LiveTable(c, client_no, {"Interface.SpidersTable", domain, rows, [&](PageText& page) {
                                    page.BackToSites(page.Show(c.clients[client_no].Path));
                                  }});
}

std::string ExceptionsTable(const PageContext& c, int client_no, std::string_view domain) {
  const auto rows = [&](PageText& page, int16_t n) {
    const SiteRec& site = c.t.Site(n);
    page.AddHeaderRow("Exceptions Raised Today For: " + UrlForm(page.Show(site.Domain)) +
                          Count("Total Exceptions Today:", site.TodayExceptions),
                      kExceptionColumns, true);
    AddHeadings(page, {"No", "Exception No", "Time", "Details"});
    int count = 0;
    const ListTexts with{c.t, c.regional};
    for (const ExceptionRow& row : c.t.exGrid) {
      if (row.site != n || !IsToday(c, row.when)) continue;
      page << "<tr>";
      page.AddCell(ex_grid::kList.Text(row, ex_grid::kNo, with));
      page.AddCell(ex_grid::kList.Text(row, ex_grid::kNumber, with));
      page.AddCell(FormatTime(SecondOfDay(row.when)));
      page.AddCell(page.Show(row.details));
      page << "</tr>\r\n";
      ++count;
    }
    page.AddHeaderRow(std::to_string(count) + " Exceptions Raised Today", kExceptionColumns, false,
                      PageText::Row::kGrey);
    return Status::Ok();
  };
  return LiveTable(c, client_no, {"Interface.ExceptionsTable", domain, rows, [&](PageText& page) {
                                    page.BackToSites(page.Show(c.clients[client_no].Path));
                                  }});
}

}  // namespace vantry
