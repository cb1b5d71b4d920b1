#include "web/interface.h"

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {
namespace {

constexpr char kTable[] =
    "<center><table border=\"1\" cellspacing=\"0\" cellpadding=\"3\" bordercolorlight=\"#808080\" "
    "bordercolordark=\"#FFFFFF\" ";

}  // namespace

Interface::Interface(InterfaceContext context, WebClientTable& clients)
    : c_(std::move(context)), t_(c_.t), clients_(clients) {
  CountUp(t_.InterfaceCount);
}

Interface::~Interface() {
  --t_.InterfaceCount;
}

Interface::Shown::Shown(std::string_view text, bool escape) : text_(text) {
  if (!escape || text.find_first_of("&<>\"'") == std::string_view::npos) return;
  for (const char c : text) {
    switch (c) {
      case '&':
        changed_ += "&amp;";
        break;
      case '<':
        changed_ += "&lt;";
        break;
      case '>':
        changed_ += "&gt;";
        break;
      case '"':
        changed_ += "&quot;";
        break;
      case '\'':
        changed_ += "&#39;";
        break;
      default:
        changed_ += c;
    }
  }
  text_ = changed_;
}

std::string Interface::PageLink(const SiteRec& site, std::string_view page) const {
  return PageText::AddLink(Show(SiteUrl(site.Domain, page)), Show(page));
}

// A log can name any scheme, and a click on some of them runs what stands behind.
std::string Interface::LinkTo(std::string_view url, std::string_view text) const {
  const Shown shown = Show(text);
  const auto begins = [url](std::string_view start) { return EqualsNoCase(url.substr(0, start.size()), start); };
  if (c_.escape && !begins("http://") && !begins("https://")) return std::string(shown);
  return PageText::AddLink(Show(url), shown);
}

std::string Interface::PopupLink(std::string_view what, const SiteRec& site, std::string_view argument,
                                 std::string_view text, std::string_view title) const {
  std::string url = "javascript:openUIWindow('?";
  // Quotes end the script's text, escaped for HTML or not.
  const std::string safe = c_.escape ? ReplaceAll(std::string(argument), "'", "") : std::string(argument);
  url.append(what).append("&domain=").append(Show(site.Domain)).append(":").append(Show(safe)).append("')");
  return PageText::AddLink(url, text, {.title = title});
}

std::string Interface::Build(const char* name, const std::function<Status(PageText&)>& body) {
  PageText page(c_.settings);
  c_.log.Guard(name, [&] { return body(page); });
  return page.Take();
}

Status Interface::NeedsHistory() {
  if (c_.history.DatabaseReady()) return Status::Ok();
  return Status::Error(Fail::kIo, "The history tables are not open, so the page was cut.");
}

std::string Interface::UserText(int client_no) const {
  const WebClient& client = clients_[client_no];
  if (!client.LoggedIn) return "Not Logged On";
  return client.UserName.empty() ? "User: Default" : "User: " + Upper(client.UserName);
}

void Interface::HeaderBar(PageText& page, int client_no) {
  const std::string user = UserText(client_no);
  page.WebHeaderBar(c_.regional.General(c_.clock.Now()), Show(user));
}

// Read at each page, so that a change shows at once.
std::string Interface::WebFooterFile() {
  std::string bytes, out;
  if (!c_.files.Read(c_.app_path + "webfooter.htm", bytes).ok()) return out;
  for (const std::string_view line : TextLines(bytes)) out.append(line).append("\r\n");
  return out;
}

std::string Interface::NotMonitoredPage(std::string_view domain) {
  PageText page(c_.settings);
  page.HTMLHeader();
  page << "<p>The Domain: <b>" << Show(domain) << "</b> is not being monitored by Vantry.";
  page.HTMLFooter();
  return page.Take();
}

std::string Interface::LiveTable(const char* name, int client_no, std::string_view domain, const SitePart& rows,
                                 const std::function<void(PageText&)>& after) {
  return Build(name, [&](PageText& page) {
    page.HTMLHeader("Vantry: " + std::string(Show(domain)), true);
    HeaderBar(page, client_no);
    page.BackToSites(Show(clients_[client_no].Path));
    if (const int16_t site = FindSiteByDomain(domain); site > 0) {
      page << kTable << page.WebStyle() << "> \r\n";
      if (Status status = rows(page, site); !status.ok()) return status;
      page << "</table></center>";
    } else {
      page << NotMonitoredPage(domain);
    }
    after(page);
    page.HTMLFooter();
    return Status::Ok();
  });
}

std::string Interface::LoginTable(int client_no) {
  return Build("Interface.LoginTable", [&](PageText& page) {
    page.HTMLHeader("Vantry Login", true);
    HeaderBar(page, client_no);
    page << kTable << page.WebStyle() << "> \r\n";
    page.AddHeaderRow("<center>Please Enter Your User Name and Password</center>", 1, false);
    // The button behind the password is a field too: it is what lets the whole password be read.
    page << "<tr><td>\r\n<form method=\"POST\" action=\"\">\r\n<p>\r\n<br>\r\n<b>User Name:</b><br>\r\n"
            "<input type=\"text\" name=\"UserName\" size=\"20\"></p>\r\n<p><b>Password:</b><br>\r\n"
            "<input type=\"password\" name=\"Password\" size=\"10\"></p>\r\n<p align=\"center\"><input type=\"submit\" "
            "value=\"Submit\" name=\"B1\"><input type=\"reset\" value=\"Reset\" name=\"B2\"></p>\r\n</form>\r\n"
            "</td></tr>\r\n</table></center>";
    page.HTMLFooter();
    return Status::Ok();
  });
}

std::string Interface::InvalidLogin(int client_no) {
  clients_[client_no].LoggedIn = false;
  clients_[client_no].CredentialsGiven = false;
  return Build("Interface.InvalidLogin", [&](PageText& page) {
    page.HTMLHeader("Vantry Login", true);
    HeaderBar(page, client_no);
    page << "<p>Invalid user name or password. Click Back and try again.";
    page.HTMLFooter();
    return Status::Ok();
  });
}

int16_t Interface::FindSiteByDomain(std::string_view domain) const {
  for (int16_t n = 1; n <= t_.SiteCount(); ++n) {
    if (EqualsNoCase(Trim(t_.Site(n).Domain), Trim(domain))) return n;
  }
  return 0;
}

void Interface::AppendVisitors(std::string& out, int16_t site) const {
  const std::string& domain = t_.Site(site).Domain;
  t_.Visitors.ForEach([&](int32_t, const VisitorRec& v) {
    if (v.Site != site) return;
    const auto add = [&out](std::string_view field) { out.append(field).append("\t"); };
    add(domain);
    add(std::to_string(v.VisitNo));
    add(v.DNS);
    add(v.Page);
    add(FormatTime(SecondOfDay(v.StartTime)));
    add(FormatTime(SecondOfDay(v.LastHitTime)));
    add(v.Browser);
    add(v.Referrer);
    out += '\n';
  });
}

std::string Interface::GetVisitorsList(std::string_view domain) const {
  std::string out;
  if (domain.empty()) {
    for (int16_t n = 1; n <= t_.SiteCount(); ++n) AppendVisitors(out, n);
  } else if (const int16_t site = FindSiteByDomain(domain)) {
    AppendVisitors(out, site);
  } else {
    out = "The Domain: " + std::string(domain) + " is not being monitored by Vantry.";
  }
  // The list goes out as text/html, so without this an agent text could be a script in somebody's browser.
  return c_.escape ? ReplaceAll(std::move(out), "<", "&lt;") : out;
}

}  // namespace vantry
