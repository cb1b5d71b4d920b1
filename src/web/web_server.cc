#include "web/web_server.h"

#include "core/text.h"
#include "core/wildcard.h"
#include "web/request_reader.h"

namespace vantry {
namespace {

// What a caller sent, with its control characters as "%0A": it can't begin a line in a file, nor steer a terminal that
// shows the file.
std::string OnOneLine(std::string_view sent) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(sent.size());
  for (const char c : sent) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      text += c;
    } else {
      text.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
  }
  return text;
}

}  // namespace

WebServer::WebServer(WebContext c, WebSecurity security)
    : c_(std::move(c)), security_(std::move(security)), pages_{c_.t,        c_.settings, c_.regional,          c_.log,
                                                               c_.clock,    c_.files,    c_.history,           clients_,
                                                               c_.app_path, c_.version,  security_.escape_html} {
  quiet_timer_ = c_.loop.NewTimer(kQuietMs / 2, [this] { QuietTick(); });
}

WebServer::~WebServer() {
  if (events_raised_) --c_.t.InterfaceCount;
}

const PageContext& WebServer::Pages() {
  if (!events_raised_) CountUp(c_.t.InterfaceCount);
  events_raised_ = true;
  return pages_;
}

Status WebServer::StartWebListener() {
  const int32_t port = c_.settings.WebAccessPort;
  if (port < 1 || port > 65535) {
    return Status::Error(Fail::kBadData, "WebAccessPort " + std::to_string(port) + " is no port number");
  }
  ListenerEvents events;
  events.connected = [this](int n) { Connected(n); };
  events.disconnected = [this](int n) { Disconnected(n); };
  events.data = [this](int n, std::string_view bytes) { Data(n, bytes); };
  events.peer_done = [this](int n) { PeerDone(n); };
  events.claim = [this](int n) { return ClaimOf(n); };
  return c_.listener.Listen(security_.bind_address, static_cast<uint16_t>(port), std::move(events));
}

void WebServer::CloseConnections() {
  quiet_timer_->Stop();
  for (int n = 1; n <= kMaxConnections; ++n) {
    if (clients_[n].InUse && c_.listener.IsOpen(n)) c_.listener.Close(n);
  }
  c_.listener.Shutdown();
}

Claim WebServer::ClaimOf(int n) {
  if (PumpOf(n).held) return Claim::kAnswering;
  return PumpOf(n).console && clients_[n].State == WebState::kRequestLine ? Claim::kConsole : Claim::kNone;
}

bool WebServer::StillOpen(int n, uint64_t serial) {
  return PumpOf(n).serial == serial && c_.listener.IsOpen(n);
}

void WebServer::Connected(int n) {
  PumpOf(n).framer.Clear();
  PumpOf(n).content_length = 0;
  PumpOf(n).serial = next_serial_++;
  PumpOf(n).held = PumpOf(n).console = false;
  OpenClient(clients_[n]);
}

void WebServer::Disconnected(int n) {
  PumpOf(n).framer.Clear();
  PumpOf(n).serial = 0;
  CloseClient(clients_[n]);
}

void WebServer::Data(int n, std::string_view bytes) {
  const uint64_t serial = PumpOf(n).serial;
  PumpOf(n).framer.Feed(bytes);
  PumpOf(n).last_byte_ms = c_.clock.Steady().ms;
  while (StillOpen(n, serial) && !PumpOf(n).held) {
    const auto line = PumpOf(n).framer.NextLine();
    if (!line) break;
    if (clients_[n].State == WebState::kHeaders) NoteContentLength(n, *line);
    DataIn(n, *line, true);
  }
  if (StillOpen(n, serial)) DeliverBody(n, false);
}

// A form's body does not end with a line end: it is whole when the announced size has come or the peer falls silent.
void WebServer::DeliverBody(int n, bool whole) {
  Pump& pump = PumpOf(n);
  if (clients_[n].State != WebState::kBody || pump.framer.RestSize() == 0 || pump.held) return;
  if (!whole && (pump.content_length == 0 || pump.framer.RestSize() < pump.content_length)) {
    if (!quiet_timer_->Enabled()) quiet_timer_->Start();
    return;
  }
  DataIn(n, pump.framer.TakeRest(), false);
}

void WebServer::QuietTick() {
  bool waiting = false;
  const int64_t now = c_.clock.Steady().ms;
  for (int n = 1; n <= kMaxConnections; ++n) {
    if (clients_[n].State != WebState::kBody || PumpOf(n).framer.RestSize() == 0 || PumpOf(n).held) continue;
    if (now - PumpOf(n).last_byte_ms >= QuietFor(PumpOf(n))) {
      DeliverBody(n, true);
    } else {
      waiting = true;
    }
  }
  if (!waiting) quiet_timer_->Stop();
}

void WebServer::PeerDone(int n) {
  if (PumpOf(n).framer.RestSize() > 0 && !PumpOf(n).held) DataIn(n, PumpOf(n).framer.TakeRest(), false);
}

void WebServer::NoteContentLength(int n, std::string_view header) {
  const size_t colon = header.find(':');
  if (colon == std::string_view::npos || !EqualsNoCase(header.substr(0, colon), "Content-Length")) return;
  const int32_t size = LeadingNumber(header.substr(colon + 1));
  PumpOf(n).content_length = size > 0 ? std::min(static_cast<size_t>(size), LineFramer::kMaxLine) : 0;
}

void WebServer::DataIn(int n, std::string_view text, bool end_of_line) {
  if (!text.empty() && text.front() == '@') {
    if (ControlAllowed(n)) RunControlLine(n, text.substr(1));
    return;
  }
  // While monitoring is paused nobody answers: the browser waits on an open connection until it gives up.
  if (!c_.control.Monitoring()) return;
  // A failure ends the handling silently; the connection stays open until the peer closes it.
  (void)Attempt([&] {
    const ReadStep step = TakeLine(clients_[n], text, end_of_line, c_.listener.RemoteHost(n), c_.clock.Now());
    if (step == ReadStep::kRequestComplete) HandleWebRequest(n);
    return Status::Ok();
  });
}

void WebServer::HandleWebRequest(int n) {
  WebClient& client = clients_[n];
  client.LastRequest = c_.clock.Now();
  if (client.Query.empty() && Trim(client.Path) == "/") client.LoggedIn = false;
  if (!c_.settings.WebAccessControl || client.IsWAP) client.LoggedIn = client.AllSites = true;
  if (!client.LoggedIn && client.CredentialsGiven) {
    if (!CheckCredentials(n)) {
      SendWebPage(n, InvalidLogin(Pages(), n));
      c_.listener.Close(n);
      return;
    }
    if (c_.settings.WebAccessEmail && !c_.settings.EmailSendTo.empty()) return MailLogin(n);
  }
  AnswerRequest(n);
}

void WebServer::AnswerRequest(int n) {
  const WebClient& client = clients_[n];
  const Command command = SplitCommand(client.Query);
  if (c_.settings.WebAccessLog) WriteAccessLog(n);
  if (!client.LoggedIn) {
    SendWebPage(n, LoginTable(Pages(), n));
  } else if (const Page& page = FindPage(command.word); page.pieces) {
    SendPieces(n, page.pieces(Pages(), n, command.argument));
  } else {
    SendWebPage(n, page.build(Pages(), n, command.argument));
  }
  c_.listener.Close(n);
}

bool WebServer::CheckCredentials(int n) {
  WebClient& client = clients_[n];
  client.Path.clear();
  const auto plain = [](std::string_view text) { return Upper(Trim(text)); };
  if (client.UserName == plain(c_.settings.WebUsername) && client.Password == plain(c_.settings.WebPassword)) {
    client.LoggedIn = client.AllSites = true;
    return true;
  }
  client.LoggedIn = false;
  for (const SiteRec& site : c_.t.Sites) {
    const std::string user = plain(site.WebUserName);
    if (!user.empty() && user == client.UserName && plain(site.WebPassword) == client.Password) {
      client.LoggedIn = true;
      break;
    }
  }
  return client.LoggedIn;
}

// A login is checked anew for each page, so each page of a logged-in user is mailed. The request is held until the mail
// is out; by then the client may have left, and another may have its number.
void WebServer::MailLogin(int n) {
  const std::string text = "Vantry Web Access User Login:\r\n" + c_.regional.General(c_.clock.Now()) + " " +
                           c_.listener.RemoteHost(n) + " " + std::to_string(c_.listener.RemotePort(n)) + " " +
                           clients_[n].UserName;
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

void WebServer::WriteAccessLog(int n) {
  const WebClient& client = clients_[n];
  const std::string line = c_.regional.General(c_.clock.Now()) + " " + c_.listener.RemoteHost(n) + " " +
                           std::to_string(c_.listener.RemotePort(n)) + " " + OnOneLine(client.Query) + " " +
                           OnOneLine(client.UserName) + "\r\n";
  // A page is answered whether or not its log line could be written.
  (void)c_.files.Append(c_.settings.DDFPath + "webaccess.log", line);
}

std::string_view WebServer::HeadFor(int n) {
  // WAP gateways get no status line and no empty line.
  constexpr std::string_view kWapHead =
      "Content-Type: text/vnd.wap.wml\r\nCache-Control: no-cache\r\n"
      "<?xml version=\"1.0\"?>\r<!DOCTYPE wml PUBLIC \"-//WAPFORUM//DTD WML 1.1//EN\" "
      "\"http://www.wapforum.org/DTD/wml_1.1.xml\">\r\n";
  constexpr std::string_view kHead = "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n";
  return clients_[n].IsWAP ? kWapHead : kHead;
}

void WebServer::SendWebPage(int n, std::string_view text) {
  const std::string_view head = HeadFor(n);
  std::string all;
  all.reserve(head.size() + text.size() + 2);
  c_.listener.Send(n, all.append(head).append(text).append("\r\n"));
}

void WebServer::SendPieces(int n, PieceSource page) {
  c_.listener.SendPieces(n, [head = HeadFor(n), page = std::move(page)](std::string& out) mutable {
    out += std::exchange(head, {});
    const bool more = page(out);
    if (!more) out += "\r\n";
    return more;
  });
}

void WebServer::SendWebLine(int n, std::string_view text) {
  PumpOf(n).console = true;
  // The listener keeps what a full socket does not take, so no part of a page is lost and nothing waits for the client.
  c_.listener.Send(n, std::string(text) + "\r\n");
}

}  // namespace vantry
