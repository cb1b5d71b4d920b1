// The list of sites and the tables of current visitors.
#include <algorithm>

#include "core/text.h"
#include "web/page_parts.h"
#include "web/page_pieces.h"
#include "web/pages.h"
#include "web/wap_deck.h"

namespace vantry {
namespace {

constexpr size_t kMaxName = 50;
constexpr int kVisitorColumns = 9;
constexpr size_t kVisitorRowBytes = 1200;   // Rarely more.
constexpr size_t kMaxReserved = 128 << 20;  // Longer pages are hardly ever wanted whole.

int SiteColumns(const Settings& settings) {
  return settings.NoSpiders ? 7 : 8;
}

void AddNumber(PageText& page, int64_t number) {
  page.AddCell(std::to_string(number), {.align = Align::kRight});
}

// Read at each page, so that a change shows at once.
std::string WebFooterFile(const PageContext& c) {
  std::string bytes, out;
  if (!c.files.Read(c.app_path + "webfooter.htm", bytes).ok()) return out;
  for (const std::string_view line : TextLines(bytes)) out.append(line).append("\r\n");
  return out;
}

struct Sums {  // Of the sites that are shown.
  int64_t current = 0, today = 0, alerts = 0, exceptions = 0, spiders = 0;
};

void SitesHead(const PageContext& c, PageText& page) {
  page << "<p>&nbsp;<center><table border=\"1\" bgcolor=\"#FFFFFF\" cellspacing=\"0\" cellpadding=\"3\" "
          "bordercolorlight=\"#808080\" bordercolordark=\"#FFFFFF\" "
       << page.WebStyle() << "> \r\n";
  page.AddHeaderRow("Sites Being Monitored On This Server", SiteColumns(c.settings), true);
  page << "<tr>";
  page.AddHeading("No");
  page.AddHeading("Site");
  page.AddHeading("Active Visitors", Align::kRight);
  page.AddHeading("Total Today", Align::kRight);
  page.AddHeading("Last Access", Align::kCentre);
  page.AddHeading("Today's Alerts", Align::kRight);
  page.AddHeading("Exceptions", Align::kRight);
  if (!c.settings.NoSpiders) page.AddHeading("Spiders", Align::kRight);
  page << "</tr>\r\n";
}

void SiteRow(const PageContext& c, PageText& page, int16_t n, std::string_view path, Sums& sums) {
  const SiteRec& site = c.t.Site(n);
  const std::string domain(page.Show(site.Domain));
  const auto url = [&](std::string_view command) {
    return std::string(path).append("?").append(command).append("&site=").append(domain);
  };
  const auto count = [&](std::string_view command, int32_t value, std::string_view title) {
    const bool nothing = value == 0 && page.Readable();
    page.AddCell(nothing ? std::string() : PageText::AddLink(url(command), std::to_string(value), {.title = title}),
                 {.align = Align::kRight, .mouse_over = true});
  };
  page << "<tr>";
  AddNumber(page, n);
  page.AddCell(PageText::AddLink(url("SITETABLE"), domain), {.mouse_over = true});
  if (site.Rests()) {
    page.AddCell("[Monitoring Paused]", {.align = Align::kCentre});
  } else {
    AddNumber(page, site.CurrentVisitors);
  }
  AddNumber(page, site.TodayVisitors);
  const bool never = page.Readable() && site.LastReadDateTime.s == LogTime{}.s;
  page.AddCell(never ? "never" : c.regional.General(site.LastReadDateTime), {.align = Align::kCentre});
  count("ALERTS", site.TodayAlerts, "Click To View Today's Alerts");
  count("EXCEPT", site.TodayExceptions, "Click To View Exceptions Raised Today");
  if (!c.settings.NoSpiders) count("SPIDERS", site.TodaySpiders, "Click To View Today's Spiders");
  page << "</tr>\r\n";
  sums.current += site.CurrentVisitors;
  sums.today += site.TodayVisitors;
  sums.alerts += site.TodayAlerts;
  sums.exceptions += site.TodayExceptions;
  sums.spiders += site.TodaySpiders;
}

void SitesTotal(const PageContext& c, PageText& page, const Sums& sums) {
  page << "<tr>";
  page.AddCell("");
  page.AddCell("Total");
  AddNumber(page, sums.current);
  AddNumber(page, sums.today);
  page.AddCell("");
  AddNumber(page, sums.alerts);
  AddNumber(page, sums.exceptions);
  if (!c.settings.NoSpiders) AddNumber(page, sums.spiders);
  page << "</tr>\r\n";
}

void SiteHead(PageText& page, const SiteRec& site) {
  page.AddHeaderRow(PageText::ProductLink() + ":" + UrlForm(page.Show(site.Domain)) +
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

void VisitorRow(PageText& page, const VisitorRec& v, const SiteRec& site) {
  const std::string visit = std::to_string(v.VisitCount);
  page << "<tr>";
  page.AddCell(page.PopupLink({"VISITOR", site.Domain, v.IP + "!" + visit, "Click To View Visit Details"},
                              std::to_string(v.VisitNo)),
               {.mouse_over = true});
  page.AddCell(page.PopupLink({"PREVIOUS", site.Domain, v.IP, "Click To View Previous Visits"}, visit),
               {.align = Align::kRight, .mouse_over = true});
  const std::string_view name = !v.KnownName.empty()   ? v.KnownName.View()
                                : !v.GroupMask.empty() ? v.GroupMask.View()
                                                       : v.DNS.View();
  page.AddCell(page.Show(name.substr(0, kMaxName)), {.font_colour = v.Idle ? "#FF0000" : ""});
  page.AddCell(page.PageLink(site.Domain, v.Page), {.back_colour = v.Status == 404 ? "Red" : "", .mouse_over = true});
  page.AddCell(FormatTime(SecondOfDay(v.StartTime)), {.align = Align::kCentre});
  page.AddCell(FormatTime(SecondOfDay(v.LastHitTime)), {.align = Align::kCentre});
  page.AddCell(page.Show(v.IsSpider ? std::string_view("Spider") : std::string_view(v.Browser)));
  page.AddCell(page.Show(v.CountryCode));
  page.AddCell(page.LinkTo(v.Referrer, v.Referrer), {.mouse_over = true});
  page << "</tr>\r\n";
}

// Of the rows of all visitors, about.
size_t VisitorBytes(const PageContext& c) {
  return std::min(kMaxReserved, static_cast<size_t>(c.t.Visitors.Count()) * kVisitorRowBytes);
}

// The rows of one site's visitors, with its heading above and, below, what `end` makes of their number.
void AddVisitorRows(const PageContext& c, PagePieces& page, int16_t n,
                    std::function<void(PageText&, const SiteRec&, int32_t count)> end) {
  page.Add([&c, n](PageText& text) {
    SiteHead(text, c.t.Site(n));
    return false;
  });
  const auto visitors = std::make_shared<SiteVisitors>(c.t, n);
  page.Add([&c, n, visitors](PageText& text) {
    text.Reserve(std::min(PagePieces::kPieceBytes, text.Text().size() + VisitorBytes(c)));
    return visitors->Some(text, [&](const VisitorRec& v) { VisitorRow(text, v, c.t.Site(n)); });
  });
  page.Add([&c, n, visitors, end = std::move(end)](PageText& text) {
    end(text, c.t.Site(n), visitors->Count());
    return false;
  });
}

void AddRowsOfOneSite(const PageContext& c, PagePieces& page, const std::string& path, bool has_client, int16_t n) {
  AddVisitorRows(c, page, n, [path, has_client](PageText& text, const SiteRec& site, int32_t count) {
    std::string line = std::to_string(count) + " Active Visitors.";
    if (has_client) {
      line += " Click the Visitor Number to view details of pages viewed so far. ";
      if (site.WebReferrers) {
        line += text.AddButton("Top Referrers", path + "?REFER&domain=" + std::string(text.Show(site.Domain)));
      }
    }
    text.AddHeaderRow(line, kVisitorColumns, false, PageText::Row::kGrey);
  });
}

void AddRowsOfAllSites(const PageContext& c, PagePieces& page, int client_no) {
  const auto sum = std::make_shared<int64_t>(0);
  for (int16_t n = 1; n <= c.t.SiteCount(); ++n) {
    if (!MayShow(c, client_no, c.t.Site(n))) continue;
    AddVisitorRows(c, page, n, [sum](PageText& text, const SiteRec&, int32_t count) {
      text.AddHeaderRow(std::to_string(count) + " Active Visitors", kVisitorColumns, false, PageText::Row::kWhite);
      *sum += count;
    });
  }
  page.Add([sum](PageText& text) {
    text.AddHeaderRow(std::to_string(*sum) + " Total Active Visitors", kVisitorColumns, true, PageText::Row::kGrey);
    text << "</table>";
    return false;
  });
}

// Site 0 is all sites.
void AddSiteTable(const PageContext& c, PagePieces& page, int client_no, int16_t n) {
  const bool has_client = client_no > 0;
  // The slot may have another client when the end of the page is written.
  const std::string path(has_client ? page.Text().Show(c.clients[client_no].Path) : page.Text().Show(""));
  page.Add([path, has_client](PageText& text) {
    if (has_client) {
      text.BackToSites(path);
      text << "<center>\r\n";
    }
    text << "<table border=\"1\" cellspacing=\"0\" cellpadding=\"3\"  bgcolor=\""
         << text.Colour(&Settings::WebColGridBack) << "\" bordercolorlight=\"" << text.Colour(&Settings::WebColGrid)
         << "\" bordercolordark=\"#FFFFFF\" " << text.WebStyle() << "> \r\n";
    return false;
  });
  if (n > 0) {
    AddRowsOfOneSite(c, page, path, has_client, n);
  } else {
    AddRowsOfAllSites(c, page, client_no);
  }
  page.Add([path, has_client](PageText& text) {
    text << "</table></center>";
    if (has_client) {
      text.BackToSites(path);
      text << "\r\n";
    }
    return false;
  });
}

}  // namespace

std::string SitesTable(const PageContext& c, int client_no, std::string_view) {
  return BuildPage(c, "Interface.SitesTable", [&](PageText& page) {
    if (c.clients[client_no].IsWAP) {
      WapDeck(c, page, client_no);
      return Status::Ok();
    }
    const std::string path(page.Show(c.clients[client_no].Path));
    page.HTMLHeader();
    HeaderBar(c, page, client_no);
    SitesHead(c, page);
    Sums sums;
    for (int16_t n = 1; n <= c.t.SiteCount(); ++n) {
      if (c.t.Site(n).WebAccess && MaySee(c, client_no, c.t.Site(n))) SiteRow(c, page, n, path, sums);
    }
    SitesTotal(c, page, sums);
    page.AddHeaderRow("Click a site to view active visitors. Click site Totals to view today's details. ",
                      SiteColumns(c.settings), false, PageText::Row::kGrey);
    page << "</table></center><p>" << WebFooterFile(c);
    page.ProductFooter(c.version);
    page.HTMLFooter();
    return Status::Ok();
  });
}

PieceSource VisitorsTablePieces(const PageContext& c, int client_no, std::string_view domain) {
  auto page = std::make_shared<PagePieces>(c, "Interface.VisitorsTable");
  page->Text().HTMLHeader("Vantry: " + std::string(page->Text().Show(domain)));
  HeaderBar(c, page->Text(), client_no);
  bool known = true;
  if (EqualsNoCase(Trim(domain), "ALL")) {
    AddSiteTable(c, *page, client_no, 0);
  } else if (domain.empty()) {
    for (int16_t n = 1; n <= c.t.SiteCount(); ++n) {
      if (MayShow(c, client_no, c.t.Site(n))) AddSiteTable(c, *page, client_no, n);
    }
  } else {
    int16_t found = 0;
    for (int16_t n = 1; n <= c.t.SiteCount() && found == 0; ++n) {
      const SiteRec& site = c.t.Site(n);
      const bool may_show = site.WebAccess && MayShow(c, client_no, site);
      if (may_show && EqualsNoCase(Trim(site.Domain), Trim(domain))) found = n;
    }
    known = found > 0;
    if (known) {
      AddSiteTable(c, *page, client_no, found);
    } else {
      page->Text() << NotMonitoredPage(c, domain);
    }
  }
  page->Add([known](PageText& text) {
    if (known) {
      text.Legend({{"On Page", "Red", "", "The page was not found (404)."},
                   {"DNS Name", "", "#FF0000", "The visitor has been idle for a while."}});
    }
    text.PopupScript();
    text.HTMLFooter();
    return false;
  });
  return SourceOf(std::move(page));
}

std::string VisitorsTable(const PageContext& c, int client_no, std::string_view domain) {
  return WholeText(VisitorsTablePieces(c, client_no, domain), VisitorBytes(c));
}

std::string SiteTable(const PageContext& c, int client_no, std::string_view site_number) {
  constexpr char kName[] = "Interface.SiteTable";
  const int32_t site = LeadingNumber(site_number);
  if (site > c.t.SiteCount() || site < 0) {
    return BuildPage(c, kName, [&](PageText&) {
      return Status::Error(Fail::kNotFound, "There is no site " + std::to_string(site) + ".");
    });
  }
  auto page = std::make_shared<PagePieces>(c, kName);
  AddSiteTable(c, *page, client_no, static_cast<int16_t>(site));
  return WholeText(SourceOf(std::move(page)), VisitorBytes(c));
}

}  // namespace vantry
