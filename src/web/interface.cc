#include "web/interface.h"

#include "core/text.h"

namespace vantry {

Interface::Interface(LiveTables& tables, WebClientTable& clients, bool escape)
    : t_(tables), clients_(clients), escape_(escape) {
  CountUp(t_.InterfaceCount);
}

Interface::~Interface() {
  --t_.InterfaceCount;
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
  return escape_ ? ReplaceAll(std::move(out), "<", "&lt;") : out;
}

std::string Interface::LoginTable() const {
  return "<html><head><title>Vantry Login</title></head><body>\r\n"
         "<p>Please Enter Your User Name and Password</p>\r\n"
         "<form method=\"POST\" action=\"\">\r\n"
         "<p><b>User Name:</b><br><input type=\"text\" name=\"UserName\" size=\"20\"></p>\r\n"
         "<p><b>Password:</b><br><input type=\"password\" name=\"Password\" size=\"10\"></p>\r\n"
         // The button behind the password is a field too: it is what lets the whole password be read.
         "<p><input type=\"submit\" value=\"Submit\" name=\"B1\"></p>\r\n"
         "</form></body></html>\r\n";
}

std::string Interface::InvalidLogin(int client_no) {
  clients_[client_no].LoggedIn = false;
  clients_[client_no].CredentialsGiven = false;
  return "<html><head><title>Vantry Login</title></head><body>\r\n"
         "<p>Invalid user name or password. Click Back and try again.</p></body></html>\r\n";
}

std::string Interface::PageNotBuilt(std::string_view name) const {
  return "<html><head><title>Vantry</title></head><body>\r\n<p>The page " + std::string(name) +
         " is not part of this build yet. <a href=\"?LIST&amp;site=\">Current visitors as plain text</a></p>\r\n"
         "</body></html>\r\n";
}

}  // namespace vantry
