// The list of sites and the tables of current visitors.
#include "core/text.h"
#include "web/interface.h"

namespace vantry {
namespace {

constexpr size_t kMaxName = 50;
constexpr int kVisitorColumns = 9;
constexpr size_t kUsualRowBytes = 1500;

int SiteColumns(const Settings& settings) {
  return settings.NoSpiders ? 7 : 8;
}

void AddNumber(PageText& page, int64_t number) {
  page.AddCell(std::to_string(number), {.align = Align::kRight});
}

}  // namespace

bool Interface::MaySee(int client_no, const SiteRec& site) const {
  const WebClient& client = clients_[client_no];
  return client.AllSites ||
         (Upper(Trim(site.WebUserName)) == client.UserName && Upper(Trim(site.WebPassword)) == client.Password);
}

std::string Interface::SitesTable(int client_no) {
  return Build("Interface.SitesTable", [&](PageText& page) {
    if (clients_[client_no].IsWAP) {
      WapDeck(page);
      return Status::Ok();
    }
    const std::string path(Show(clients_[client_no].Path));
    page.HTMLHeader();
    HeaderBar(page, client_no);
    SitesHead(page);
    Sums sums;
    for (int16_t n = 1; n <= t_.SiteCount(); ++n) {
      if (t_.Site(n).WebAccess && MaySee(client_no, t_.Site(n))) SiteRow(page, n, path, sums);
    }
    SitesTotal(page, sums);
    page.AddHeaderRow("Click a site to view active visitors. Click site Totals to view today's details. ",
                      SiteColumns(c_.settings), false, PageText::Row::kGrey);
    page << "</table></center><p>" << WebFooterFile();
    page.ProductFooter(c_.version);
    page.HTMLFooter();
    return Status::Ok();
  });
}

void Interface::SitesHead(PageText& page) const {
  page << "<p>&nbsp;<center><table border=\"1\" bgcolor=\"#FFFFFF\" cellspacing=\"0\" cellpadding=\"3\" "
          "bordercolorlight=\"#808080\" bordercolordark=\"#FFFFFF\" "
       << page.WebStyle() << "> \r\n";
  page.AddHeaderRow("Sites Being Monitored On This Server", SiteColumns(c_.settings), true);
  page << "<tr>";
  page.AddHeading("No");
  page.AddHeading("Site");
  page.AddHeading("Active Visitors", Align::kRight);
  page.AddHeading("Total Today", Align::kRight);
  page.AddHeading("Last Access", Align::kCentre);
  page.AddHeading("Today's Alerts", Align::kRight);
  page.AddHeading("Exceptions", Align::kRight);
  if (!c_.settings.NoSpiders) page.AddHeading("Spiders", Align::kRight);
  page << "</tr>\r\n";
}

void Interface::SiteRow(PageText& page, int16_t n, std::string_view path, Sums& sums) const {
  const SiteRec& site = t_.Site(n);
  const std::string domain(Show(site.Domain));
  const auto url = [&](std::string_view command) {
    return std::string(path).append("?").append(command).append("&site=").append(domain);
  };
  const auto count = [&](std::string_view command, int32_t value, std::string_view title) {
    page.AddCell(PageText::AddLink(url(command), std::to_string(value), {.title = title}),
                 {.align = Align::kRight, .mouse_over = true});
  };
  page << "<tr>";
  AddNumber(page, n);
  page.AddCell(PageText::AddLink(url("SITETABLE"), domain), {.mouse_over = true});
  if (site.Paused) {
    page.AddCell("[Monitoring Paused]", {.align = Align::kCentre});
  } else {
    AddNumber(page, site.CurrentVisitors);
  }
  AddNumber(page, site.TodayVisitors);
  page.AddCell(c_.regional.General(site.LastReadDateTime), {.align = Align::kCentre});
  count("ALERTS", site.TodayAlerts, "Click To View Today's Alerts");
  count("EXCEPT", site.TodayExceptions, "Click To View Exceptions Raised Today");
  if (!c_.settings.NoSpiders) count("SPIDERS", site.TodaySpiders, "Click To View Today's Spiders");
  page << "</tr>\r\n";
  sums.current += site.CurrentVisitors;
  sums.today += site.TodayVisitors;
  sums.alerts += site.TodayAlerts;
  sums.exceptions += site.TodayExceptions;
  sums.spiders += site.TodaySpiders;
}

void Interface::SitesTotal(PageText& page, const Sums& sums) const {
  page << "<tr>";
  page.AddCell("");
  page.AddCell("Total");
  AddNumber(page, sums.current);
  AddNumber(page, sums.today);
  page.AddCell("");
  AddNumber(page, sums.alerts);
  AddNumber(page, sums.exceptions);
  if (!c_.settings.NoSpiders) AddNumber(page, sums.spiders);
  page << "</tr>\r\n";
}

std::string Interface::VisitorsTable(int client_no, std::string_view domain) {
  return Build("Interface.VisitorsTable", [&](PageText& page) {
    const std::string title = "Vantry: " + std::string(Show(domain));
    page.HTMLHeader(title);
    HeaderBar(page, client_no);
    if (EqualsNoCase(Trim(domain), "ALL")) {
      AddSiteTable(page, client_no, 0);
    } else if (domain.empty()) {
      for (int16_t n = 1; n <= t_.SiteCount(); ++n) AddSiteTable(page, client_no, n);
    } else {
      int16_t found = 0;
      for (int16_t n = 1; n <= t_.SiteCount() && found == 0; ++n) {
        const SiteRec& site = t_.Site(n);
        if (site.WebAccess && EqualsNoCase(Trim(site.Domain), Trim(domain))) found = n;
      }
      if (found > 0) {
        AddSiteTable(page, client_no, found);
      } else {
        page << NotMonitoredPage(domain);
      }
    }
    page.PopupScript();
    page.HTMLFooter();
    return Status::Ok();
  });
}

std::string Interface::SiteTable(int client_no, int16_t site) {
  return Build("Interface.SiteTable", [&](PageText& page) {
    if (site > t_.SiteCount() || site < 0)
      return Status::Error(Fail::kNotFound, "There is no site " + std::to_string(site) + ".");
    AddSiteTable(page, client_no, site);
    return Status::Ok();
  });
}

void Interface::AddSiteTable(PageText& page, int client_no, int16_t n) {
  const std::string path(client_no > 0 ? Show(clients_[client_no].Path) : Show(""));
  if (client_no > 0) {
    page.BackToSites(path);
    page << "<center>\r\n";
  }
  page << "<table border=\"1\" cellspacing=\"0\" cellpadding=\"3\"  bgcolor=\"" << c_.settings.WebColGridBack
       << "\" bordercolorlight=\"" << c_.settings.WebColGrid << "\" bordercolordark=\"#FFFFFF\" " << page.WebStyle()
       << "> \r\n";
  if (n > 0) {
    const SiteRec& site = t_.Site(n);
    SiteHead(page, site);
    VisitorRows(page, n);
    std::string text = std::to_string(site.CurrentVisitors) + " Active Visitors.";
    if (client_no > 0) {
      text += " Click the Visitor Number to view details of pages viewed so far. ";
      if (site.WebReferrers) {
        text += page.AddButton("Top Referrers", path + "?REFER&domain=" + std::string(Show(site.Domain)));
      }
    }
    page.AddHeaderRow(text, kVisitorColumns, false, PageText::Row::kGrey);
  } else {
    int64_t sum = 0;
    for (int16_t i = 1; i <= t_.SiteCount(); ++i) {
      const SiteRec& site = t_.Site(i);
      SiteHead(page, site);
      VisitorRows(page, i);
      page.AddHeaderRow(std::to_string(site.CurrentVisitors) + " Active Visitors", kVisitorColumns, false,
                        PageText::Row::kWhite);
      sum += site.CurrentVisitors;
    }
    page.AddHeaderRow(std::to_string(sum) + " Total Active Visitors", kVisitorColumns, true, PageText::Row::kGrey);
    page << "</table>";
  }
  page << "</table></center>";
  if (client_no > 0) {
    page.BackToSites(path);
    page << "\r\n";
  }
}

void Interface::SiteHead(PageText& page, const SiteRec& site) const {
  page.AddHeaderRow(PageText::ProductLink() + ":" + UrlForm(Show(site.Domain)) +
                        " [Total Visitors Today:" + std::to_string(site.TodayVisitors) + "]",
                    kVisitorColumns, true);
  page << "<tr>";
  page.AddHeading("No");
  page.AddHeading("Visit", Align::kRight);
  page.AddHeading("DNS Name");
  page.AddHeading("On Page");
  page.AddHeading("Start Time", Align::kCentre);
  page.AddHeading("Last Time", Align::kCentre);
  page.AddHeading("Browser");
  page.AddHeading("Loc");
  page.AddHeading("Referrer");
  page << "</tr>\r\n";
}

void Interface::VisitorRows(PageText& page, int16_t n) const {
  const SiteRec& site = t_.Site(n);
  page.Expect(static_cast<size_t>(std::max(site.CurrentVisitors, 0)) * kUsualRowBytes);
  t_.Visitors.ForEach([&](int32_t, const VisitorRec& v) {
    if (v.Site == n) VisitorRow(page, v, site);
  });
}

void Interface::VisitorRow(PageText& page, const VisitorRec& v, const SiteRec& site) const {
  const std::string visit = std::to_string(v.VisitCount);
  page << "<tr>";
  page.AddCell(PopupLink("VISITOR", site, v.IP + "!" + visit, std::to_string(v.VisitNo), "Click To View Visit Details"),
               {.mouse_over = true});
  page.AddCell(PopupLink("PREVIOUS", site, v.IP, visit, "Click To View Previous Visits"),
               {.align = Align::kRight, .mouse_over = true});
  const std::string& name = !v.KnownName.empty() ? v.KnownName : !v.GroupMask.empty() ? v.GroupMask : v.DNS;
  page.AddCell(Show(std::string_view(name).substr(0, kMaxName)), {.font_colour = v.Idle ? "#FF0000" : ""});
  page.AddCell(PageLink(site, v.Page), {.back_colour = v.Status == 404 ? "Red" : "", .mouse_over = true});
  page.AddCell(FormatTime(SecondOfDay(v.StartTime)), {.align = Align::kCentre});
  page.AddCell(FormatTime(SecondOfDay(v.LastHitTime)), {.align = Align::kCentre});
  page.AddCell(Show(v.IsSpider ? std::string_view("Spider") : std::string_view(v.Browser)));
  page.AddCell(Show(v.CountryCode));
  page.AddCell(LinkTo(v.Referrer, v.Referrer), {.mouse_over = true});
  page << "</tr>\r\n";
}

}  // namespace vantry
