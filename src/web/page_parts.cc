#include "web/page_parts.h"

#include "core/text.h"
#include "web/credentials.h"

namespace vantry {
namespace {

std::string UserText(const WebClient& client) {
  if (!client.LoggedIn) return "Not Logged On";
  return client.UserName.empty() ? "User: Default" : "User: " + Upper(client.UserName);
}

}  // namespace

bool MaySee(const PageContext& c, int client_no, const SiteRec& site) {
  const WebClient& client = c.clients[client_no];
  return client.AllSites || OpensSite(c.t, site, {client.UserName, client.Password});
}

bool MayShow(const PageContext& c, int client_no, const SiteRec& site) {
  return !c.for_port || !c.t.Corrected.OwnSiteOnly || MaySee(c, client_no, site);
}

int16_t FindSiteByDomain(const PageContext& c, int client_no, std::string_view domain) {
  for (int16_t n = 1; n <= c.t.SiteCount(); ++n) {
    const SiteRec& site = c.t.Site(n);
    if (EqualsNoCase(Trim(site.Domain), Trim(domain)) && MayShow(c, client_no, site)) return n;
  }
  return 0;
}

PageText NewPage(const PageContext& c) {
  return PageText(c.settings, c.escape, c.paused, c.t.Corrected.ReadablePages);
}

std::string BuildPage(const PageContext& c, const char* name, const std::function<Status(PageText&)>& body) {
  PageText page = NewPage(c);
  c.log.Guard(name, [&] { return body(page); });
  return page.Take();
}

Status NeedsHistory(const PageContext& c) {
  if (c.history.DatabaseReady()) return Status::Ok();
  return Status::Error(Fail::kIo, "The history tables are not open, so the page was cut.");
}

void HeaderBar(const PageContext& c, PageText& page, int client_no) {
  const WebClient& client = c.clients[client_no];
  std::string user(page.Show(UserText(client)));
  const bool may_leave = c.for_port && c.t.Corrected.LoginCookie && c.settings.WebAccessControl && client.LoggedIn;
  if (may_leave) user += "<br>" + PageText::AddLink("?LOGOUT", "<font color=\"#FFFFFF\">Log out</font>");
  page.WebHeaderBar(c.regional.General(c.clock.Now()), user);
}

std::string NotMonitoredPage(const PageContext& c, std::string_view domain) {
  PageText page = NewPage(c);
  page.HTMLHeader();
  page << "<p>The Domain: <b>" << page.Show(domain) << "</b> is not being monitored by Vantry.";
  page.HTMLFooter();
  return page.Take();
}

PieceSource LiveTable(const PageContext& c, int client_no, const LivePage& live) {
  auto page = std::make_shared<PagePieces>(c, live.name);
  PageText& text = page->Text();
  text.HTMLHeader("Vantry: " + std::string(text.Show(live.domain)), true);
  HeaderBar(c, text, client_no);
  text.BackToSites(text.Show(c.clients[client_no].Path));
  if (const int16_t site = FindSiteByDomain(c, client_no, live.domain); site > 0) {
    text.OpenTable();
    live.add_rows(*page, site);
    page->Add([](PageText& end) {
      end << "</table></center>";
      return false;
    });
  } else {
    text << NotMonitoredPage(c, live.domain);
  }
  page->Add([after = live.after](PageText& end) {
    after(end);
    end.HTMLFooter();
    return false;
  });
  return SourceOf(std::move(page));
}

void AddHeadings(PageText& page, std::initializer_list<std::string_view> titles) {
  page << "<tr>";
  for (const std::string_view title : titles) page.AddHeading(title);
  page << "</tr>\r\n";
}

}  // namespace vantry
