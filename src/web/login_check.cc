// Who asks for a page: the login of its slot or of its cookie, a form with a name and a password, and what follows.
#include "core/text.h"
#include "web/request_reader.h"
#include "web/text_forms.h"
#include "web/web_server.h"

namespace vantry {

// Cookies belong to a machine, not to a port: two programs on one machine must not end each other's logins.
std::string WebServer::CookieName() const {
  return "Vantry" + std::to_string(c_.settings.WebAccessPort);
}

// A login that is a cookie leaves nothing in the slot for whoever comes next.
void WebServer::ForgetSlot(int n) {
  WebClient& client = clients_[n];
  client.DecodeForms = c_.t.Corrected.DecodeForms;
  if (c_.t.Corrected.OwnSiteOnly || c_.t.Corrected.LoginCookie) client.AllSites = false;
  if (!c_.t.Corrected.LoginCookie) return;
  client.CredentialsGiven = false;
  client.UserName.clear();
  client.Password.clear();
}

void WebServer::KnowClient(int n) {
  WebClient& client = clients_[n];
  if (c_.t.Corrected.LoginCookie) {
    TakeUpLogin(n);
  } else if (client.Query.empty() && Trim(client.Path) == "/") {
    client.LoggedIn = false;
  }
  const bool phone_passes = client.IsWAP && !c_.t.Corrected.PhonesLogIn;
  if (!c_.settings.WebAccessControl || phone_passes) client.LoggedIn = client.AllSites = true;
}

// The name and password of the login are looked at anew for each page, so a changed password ends it.
void WebServer::TakeUpLogin(int n) {
  WebClient& client = clients_[n];
  Pump& pump = PumpOf(n);
  if (client.FormGiven) return;
  if (SplitCommand(client.Query).word == kLogoutCommand) {
    logins_.End(pump.token);
    pump.set_cookie = "Set-Cookie: " + CookieName() + "=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict\r\n";
    return;
  }
  const Credentials* given = logins_.Find(pump.token, c_.clock.Now());
  if (!given) return;
  const Reach opened = WhatOpens(c_.t, c_.settings, *given);
  if (opened == Reach::kNothing) return logins_.End(pump.token);
  client.UserName = given->user;
  client.Password = given->password;
  client.LoggedIn = true;
  client.AllSites = opened == Reach::kAllSites;
}

// False when the login can't be kept: then nobody is logged in.
bool WebServer::BeginLogin(int n) {
  const WebClient& client = clients_[n];
  std::string token;
  const bool begun = c_.log.Guard("WebServer.BeginLogin", [&] {
    return logins_.Begin({client.UserName, client.Password}, c_.clock.Now(), token);
  });
  if (!begun) return false;
  logins_.End(PumpOf(n).token);
  PumpOf(n).set_cookie = "Set-Cookie: " + CookieName() + "=" + token + "; Path=/; HttpOnly; SameSite=Strict\r\n";
  return true;
}

void WebServer::CheckCredentials(int n) {
  WebClient& client = clients_[n];
  client.Path.clear();
  const Reach opened = WhatOpens(c_.t, c_.settings, {client.UserName, client.Password});
  int64_t wait_ms = 0;
  if (c_.t.Corrected.SlowGuessing && client.FormGiven) {
    wait_ms = brake_.Try(c_.listener.RemoteHost(n), client.UserName, opened != Reach::kNothing, c_.clock.Steady());
  }
  if (wait_ms == 0) return EndCheck(n, opened);
  // Another request in this slot must not learn what this one waits for.
  client.CredentialsGiven = false;
  Pump& pump = PumpOf(n);
  pump.held = pump.slowed = true;
  pump.opened = opened;
  pump.answer_ms = c_.clock.Steady().ms + wait_ms;
  if (!brake_timer_->Enabled()) brake_timer_->Start();
}

void WebServer::BrakeTick() {
  bool waiting = false;
  const int64_t now = c_.clock.Steady().ms;
  for (int n = 1; n <= kMaxConnections; ++n) {
    if (!PumpOf(n).slowed) continue;
    if (now < PumpOf(n).answer_ms) {
      waiting = true;
      continue;
    }
    PumpOf(n).slowed = PumpOf(n).held = false;
    (void)Attempt([&] {
      EndCheck(n, PumpOf(n).opened);
      return Status::Ok();
    });
  }
  if (!waiting) brake_timer_->Stop();
}

void WebServer::EndCheck(int n, Reach opened) {
  WebClient& client = clients_[n];
  client.LoggedIn = opened != Reach::kNothing;
  if (!client.LoggedIn) {
    SendWebPage(n, InvalidLogin(PortPages(), n));
    c_.listener.Close(n);
    return;
  }
  client.CredentialsGiven = true;
  if (opened == Reach::kAllSites) client.AllSites = true;
  if (c_.t.Corrected.LoginCookie) client.LoggedIn = BeginLogin(n);
  if (client.LoggedIn && c_.settings.WebAccessEmail && !c_.settings.EmailSendTo.empty()) return MailLogin(n);
  AnswerRequest(n);
}

// Without LoginCookie a login is checked anew for each page, so each page of a logged-in user is mailed. The request is
// held until the mail is out: meanwhile the client may leave, and another may come under its number.
void WebServer::MailLogin(int n) {
  const std::string& user = clients_[n].UserName;
  const std::string text = "Vantry Web Access User Login:\r\n" + c_.regional.General(c_.clock.Now()) + " " +
                           c_.listener.RemoteHost(n) + " " + std::to_string(c_.listener.RemotePort(n)) + " " +
                           (c_.t.Corrected.DecodeForms ? OnOneLine(user) : user);
  PumpOf(n).held = true;
  c_.mailer.SendLoginMail(c_.settings.EmailSendTo, text, [this, n, serial = PumpOf(n).serial] {
    if (!StillOpen(n, serial)) return;
    PumpOf(n).held = false;
    (void)Attempt([&] {
      AnswerRequest(n);
      return Status::Ok();
    });
  });
}

}  // namespace vantry
