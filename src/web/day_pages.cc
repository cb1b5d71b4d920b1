// Today's lists: alerts, spiders and exceptions, as the grids hold them.
#include "core/lists.h"
#include "core/text.h"
#include "web/interface.h"

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

void Headings(PageText& page, std::initializer_list<std::string_view> titles) {
  page << "<tr>";
  for (const std::string_view title : titles) page.AddHeading(title);
  page << "</tr>\r\n";
}

std::string Count(std::string_view label, int64_t count) {
  return " [" + std::string(label) + std::to_string(count) + "]";
}

}  // namespace

std::string Interface::AlertsTypeList(int client_no, std::string_view domain) {
  const int16_t number = FindSiteByDomain(domain);
  if (number == 0 || t_.Site(number).AlertDefinitions < 2) return AlertsTable(client_no, domain);
  const auto rows = [&](PageText& page, int16_t n) {
    const SiteRec& site = t_.Site(n);
    const std::string url =
        std::string(Show(clients_[client_no].Path)) + "?ALERTSTABLE&site=" + std::string(Show(site.Domain));
    page.AddHeaderRow(
        "Alerts Raised Today For: " + UrlForm(Show(site.Domain)) + Count("Total Today:", site.TodayAlerts),
        kTypeColumns, true);
    page << "<tr>";
    page.AddHeading("No", Align::kRight);
    page.AddHeading("Name");
    page.AddHeading("Raised Today", Align::kRight);
    page << "</tr>\r\n";
    for (const AlertRec& alert : t_.Alerts) {
      if (alert.Site != n) continue;
      const std::string no = std::to_string(alert.AlertNo);
      page << "<tr>";
      page.AddCell(no, {.align = Align::kRight});
      page.AddCell(
          PageText::AddLink(url + std::string(kAlertNo) + no, Show(alert.Name), {.title = "Click To View Alerts"}),
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
    page.BackToSites(Show(clients_[client_no].Path));  // Inside the table, unlike on the other pages.
    return Status::Ok();
  };
  return LiveTable("Interface.AlertsTypeList", client_no, domain, rows, [](PageText&) {});
}

std::string Interface::AlertsTable(int client_no, std::string_view argument) {
  const AlertChoice choice = ReadChoice(argument);
  const auto rows = [&](PageText& page, int16_t n) {
    const SiteRec& site = t_.Site(n);
    std::string heading =
        "Alerts Raised Today For: " + UrlForm(Show(site.Domain)) + Count("Total Today:", site.TodayAlerts);
    for (const AlertRec& alert : t_.Alerts) {
      if (alert.Site != n || alert.AlertNo != choice.number) continue;
      heading += " [" + std::string(Show(alert.Name)) + ": Total:" + std::to_string(alert.AlertHits) + "]";
      break;
    }
    page.AddHeaderRow(heading, kAlertColumns, true);
    Headings(page, {"No", "Visit", "Start Time", "Start Page", "DNS", "Mins On Site", "Loc", "Referrer"});
    int count = 0;
    const std::string only = choice.number ? std::to_string(*choice.number) : "";
    t_.logGrid.ForEach([&](const GridRow& row) {
      if (row.site != n || !IsToday(row.when) || (choice.number && row.Text(log_grid::kAlert) != only)) return;
      AlertRow(page, row, site);
      ++count;
    });
    page.AddHeaderRow(std::to_string(count) + " Alerts Raised Today. Click a Visit Number to view the visit details.",
                      kAlertColumns, false, PageText::Row::kGrey);
    return Status::Ok();
  };
  return LiveTable("Interface.AlertsTable", client_no, choice.domain, rows, [&](PageText& page) {
    page.BackToSites(Show(clients_[client_no].Path));
    page.PopupScript();  // What a click on a number calls.
  });
}

void Interface::AlertRow(PageText& page, const GridRow& row, const SiteRec& site) const {
  using namespace log_grid;
  // The key is the site's number, a colon and the address.
  const std::string ip = row.Key().substr(std::min(row.Key().find(':') + 1, row.Key().size()));
  const std::string visit(row.Text(kVisit));
  page << "<tr>";
  page.AddCell(PopupLink("VISITOR", site, ip + "!" + visit, row.Text(kNo), "Click To View Visit Details"),
               {.mouse_over = true});
  page.AddCell(PopupLink("PREVIOUS", site, ip, visit, "Click To View Previous Visits"), {.mouse_over = true});
  page.AddCell(FormatTime(SecondOfDay(row.when)));
  const bool alarm = row.row_colour == kColourAlarm || row.ColourOf(kPage) == kColourAlarm;
  page.AddCell(Show(row.Text(kPage)), {.back_colour = alarm ? "Red" : ""});
  page.AddCell(Show(row.Text(kDns)));
  page.AddCell(Show(row.Text(kMinsOnSite)));
  page.AddCell(Show(row.Text(kLoc)));
  page.AddCell(LinkTo(row.Text(kReferrer), row.Text(kReferrer)), {.mouse_over = true});
  page << "</tr>\r\n";
}

std::string Interface::SpidersTable(int client_no, std::string_view domain) {
  const auto rows = [&](PageText& page, int16_t n) {
    using namespace spider_grid;
    const SiteRec& site = t_.Site(n);
    page.AddHeaderRow(
        "Spiders Spotted Today For: " + UrlForm(Show(site.Domain)) + Count("Total Today:", site.TodaySpiders),
        kSpiderColumns, true);
    Headings(page, {"No", "DNS", "Search Engine", "Time", "Page Scanned", "Loc", "Referrer"});
    int count = 0;
    t_.spiderGrid.ForEach([&](const GridRow& row) {
      if (row.site != n || !IsToday(row.when)) return;
      page << "<tr>";
      page.AddCell(row.Text(spider_grid::kNo));
      page.AddCell(Show(row.Text(spider_grid::kDns)));
      page.AddCell(Show(row.Text(kEngine)));
      page.AddCell(FormatTime(SecondOfDay(row.when)));
      page.AddCell(Show(row.Text(spider_grid::kPage)));
      page.AddCell(Show(row.Text(spider_grid::kLoc)));
      page.AddCell(LinkTo(row.Text(spider_grid::kReferrer), row.Text(spider_grid::kReferrer)), {.mouse_over = true});
      page << "</tr>\r\n";
      ++count;
    });
    page.AddHeaderRow(std::to_string(count) + " Spiders Spotted Today", kSpiderColumns, false, PageText::Row::kGrey);
    return Status::Ok();
  };
  return LiveTable("Interface.SpidersTable", client_no, domain, rows,
                   [&](PageText& page) { page.BackToSites(Show(clients_[client_no].Path)); });
}

std::string Interface::ExceptionsTable(int client_no, std::string_view domain) {
  const auto rows = [&](PageText& page, int16_t n) {
    const SiteRec& site = t_.Site(n);
    page.AddHeaderRow("Exceptions Raised Today For: " + UrlForm(Show(site.Domain)) +
                          Count("Total Exceptions Today:", site.TodayExceptions),
                      kExceptionColumns, true);
    Headings(page, {"No", "Exception No", "Time", "Details"});
    int count = 0;
    const ListTexts with{t_, c_.regional};
    for (const ExceptionRow& row : t_.exGrid) {
      if (row.site != n || !IsToday(row.when)) continue;
      page << "<tr>";
      page.AddCell(ex_grid::kList.Text(row, ex_grid::kNo, with));
      page.AddCell(ex_grid::kList.Text(row, ex_grid::kNumber, with));
      page.AddCell(FormatTime(SecondOfDay(row.when)));
      page.AddCell(Show(row.details));
      page << "</tr>\r\n";
      ++count;
    }
    page.AddHeaderRow(std::to_string(count) + " Exceptions Raised Today", kExceptionColumns, false,
                      PageText::Row::kGrey);
    return Status::Ok();
  };
  return LiveTable("Interface.ExceptionsTable", client_no, domain, rows,
                   [&](PageText& page) { page.BackToSites(Show(clients_[client_no].Path)); });
}

}  // namespace vantry
