// The deck for WAP phones: a card with all sites and a card for each, so that moving between them needs no request.
#include "web/wap_deck.h"

#include "web/page_parts.h"

namespace vantry {
namespace {

void WapCard(const PageContext& c, PageText& page, int16_t n) {
  const SiteRec& site = c.t.Site(n);
  page << "<card id=\"site" << std::to_string(n) << "\" title=\"" << page.Show(site.Name)
       << "\">\r\n<do type=\"accept\" label=\"Sites\" >\r\n<go href=\"#sites\" />\r\n</do>\r\n";
  if (site.CurrentVisitors < 1) {
    const bool never = c.t.Corrected.ReadablePages && site.LastReadDateTime.s == LogTime{}.s;
    page << "<p>No current visitors" << (never ? ", never read" : " since " + c.regional.Stamp(site.LastReadDateTime))
         << "\r\n";
  } else {
    page << "<p align=\"left\" mode=\"nowrap\">\r\n<small>\r\n<table title=\"Current Visitors\" columns=\"3\">\r\n"
            "<tr><td>No.</td><td>DNS</td><td>Page</td></tr>\r\n";
    c.t.Visitors.ForEach([&](int32_t, const VisitorRec& v) {
      if (v.Site != n) return;
      page << "<tr>\r\n<td>" << std::to_string(v.VisitNo) << "</td>\r\n<td>" << page.Show(v.DNS) << "</td>\r\n<td>"
           << page.Show(v.Page) << "</td>\r\n</tr>\r\n";
    });
    page << "</table>\r\n</small>\r\n";
  }
  page << "</p>\r\n</card>\r\n\r\n";
}

std::string_view PauseMark(const PageContext& c) {
  return c.paused ? " [Paused]" : "";
}

bool Listed(const PageContext& c, int client_no, const SiteRec& site) {
  const bool logins_hold = c.for_port && c.t.Corrected.PhonesLogIn;
  return MayShow(c, client_no, site) && (!logins_hold || MaySee(c, client_no, site));
}

}  // namespace

void WapDeck(const PageContext& c, PageText& page, int client_no) {
  page.WMLHeader();
  page << "<card id=\"sites\" title=\"Vantry WAP" << PauseMark(c) << "\"> \r\n";
  if (!c.settings.WAPAccess) {
    page << "<p>Vantry WAP access is not enabled on this server.</p>\r\n</card>\r\n";
    page.WMLFooter();
    return;
  }
  page << "<p align=\"left\" mode=\"nowrap\">\r\n<small>\r\n<table title=\"Monitored Sites\" columns=\"3\">\r\n"
          "<tr><td>Site</td><td>Now</td><td>Alerts</td></tr>\r\n";
  for (int16_t n = 1; n <= c.t.SiteCount(); ++n) {
    const SiteRec& site = c.t.Site(n);
    if (!Listed(c, client_no, site)) continue;
    page << "<tr>\r\n<td><a href=\"#site" << std::to_string(n) << "\">" << page.Show(site.Name) << "</a></td>\r\n<td>"
         << std::to_string(site.CurrentVisitors) << "</td>\r\n<td>" << std::to_string(site.TodayAlerts)
         << "</td>\r\n</tr>\r\n";
  }
  page << "</table>\r\n</small>\r\n</p>\r\n</card>\r\n\r\n";
  for (int16_t n = 1; n <= c.t.SiteCount(); ++n) {
    if (Listed(c, client_no, c.t.Site(n))) WapCard(c, page, n);
  }
  page.WMLFooter();
}

// The fields are sent as a browser sends its form's.
void WapLogin(const PageContext& c, PageText& page) {
  page.WMLHeader();
  page << "<card id=\"login\" title=\"Vantry Login" << PauseMark(c)
       << "\">\r\n<p>\r\nUser Name: <input type=\"text\" name=\"user\"/><br/>\r\n"
          "Password: <input type=\"password\" name=\"pass\"/><br/>\r\n"
          "<anchor>Submit<go method=\"post\" href=\"?SITES\""
       << (c.t.Corrected.DecodeForms ? " accept-charset=\"utf-8\"" : "")
       << ">\r\n<postfield name=\"UserName\" value=\"$(user)\"/>\r\n"
          "<postfield name=\"Password\" value=\"$(pass)\"/>\r\n<postfield name=\"B1\" value=\"Submit\"/>\r\n"
          "</go></anchor>\r\n</p>\r\n</card>\r\n";
  page.WMLFooter();
}

void WapInvalidLogin(const PageContext& c, PageText& page) {
  page.WMLHeader();
  page << "<card id=\"login\" title=\"Vantry Login" << PauseMark(c)
       << "\">\r\n<do type=\"prev\" label=\"Back\">\r\n<prev/>\r\n</do>\r\n"
          "<p>Invalid user name or password.</p>\r\n</card>\r\n";
  page.WMLFooter();
}

}  // namespace vantry
