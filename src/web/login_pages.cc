// The form that asks for a name and a password, and the refusal.
#include "web/page_parts.h"
#include "web/pages.h"
#include "web/request_reader.h"
#include "web/wap_deck.h"

namespace vantry {
namespace {

bool IsPhone(const PageContext& c, int client_no) {
  return c.t.Corrected.PhonesLogIn && c.clients[client_no].IsWAP;
}

// A form goes to the page's own address, but not to the one that ends logins: that page would reload itself.
std::string_view FormTarget(const PageContext& c, int client_no) {
  const bool left = c.t.Corrected.LoginCookie && SplitCommand(c.clients[client_no].Query).word == kLogoutCommand;
  return left ? "?SITES" : "";
}

// Pages name no character set, and a browser writes a form in that of its page.
std::string_view FormCharset(const PageContext& c) {
  return c.t.Corrected.DecodeForms ? " accept-charset=\"UTF-8\"" : "";
}

}  // namespace

std::string LoginTable(const PageContext& c, int client_no, std::string_view) {
  return BuildPage(c, "Interface.LoginTable", [&](PageText& page) {
    if (IsPhone(c, client_no)) {
      WapLogin(c, page);
      return Status::Ok();
    }
    page.HTMLHeader("Vantry Login", true);
    HeaderBar(c, page, client_no);
    page.OpenTable();
    page.AddHeaderRow("<center>Please Enter Your User Name and Password</center>", 1, false);
    // The button after the password is a field too: it is what lets the whole password be read.
    page << "<tr><td>\r\n<form method=\"POST\" action=\"" << FormTarget(c, client_no) << "\"" << FormCharset(c)
         << ">\r\n<p>\r\n<br>\r\n<b>User Name:</b><br>\r\n"
            "<input type=\"text\" name=\"UserName\" size=\"20\"></p>\r\n<p><b>Password:</b><br>\r\n"
            "<input type=\"password\" name=\"Password\" size=\"10\"></p>\r\n<p align=\"center\"><input type=\"submit\" "
            "value=\"Submit\" name=\"B1\"><input type=\"reset\" value=\"Reset\" name=\"B2\"></p>\r\n</form>\r\n"
            "</td></tr>\r\n</table></center>";
    page.HTMLFooter();
    return Status::Ok();
  });
}

std::string InvalidLogin(const PageContext& c, int client_no, std::string_view) {
  c.clients[client_no].LoggedIn = false;
  c.clients[client_no].CredentialsGiven = false;
  return BuildPage(c, "Interface.InvalidLogin", [&](PageText& page) {
    if (IsPhone(c, client_no)) {
      WapInvalidLogin(c, page);
      return Status::Ok();
    }
    page.HTMLHeader("Vantry Login", true);
    HeaderBar(c, page, client_no);
    page << "<p>Invalid user name or password. Click Back and try again.";
    page.HTMLFooter();
    return Status::Ok();
  });
}

}  // namespace vantry
