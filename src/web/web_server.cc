#include "web/web_server.h"

#include "core/text.h"
#include "core/wildcard.h"
#include "web/host_check.h"
#include "web/request_reader.h"
#include "web/text_forms.h"

namespace vantry {
namespace {

constexpr std::string_view kNoHost = "(none)";

}  // namespace

WebServer::WebServer(WebContext c, WebSecurity security)
    : c_(std::move(c)),
      security_(std::move(security)),
      pages_{c_.t,        c_.settings, c_.regional,          c_.log, c_.clock, c_.files, c_.history, clients_,
             c_.app_path, c_.version,  security_.escape_html},
      port_pages_(pages_),
      logins_(c_.random) {
  port_pages_.for_port = true;
  quiet_timer_ = c_.loop.NewTimer(kQuietMs / 2, [this] { QuietTick(); });
  brake_timer_ = c_.loop.NewTimer(kBrakeMs, [this] { BrakeTick(); });
}

WebServer::~WebServer() {
  if (events_raised_) --c_.t.InterfaceCount;
}

const PageContext& WebServer::Pages() {
  if (!events_raised_) CountUp(c_.t.InterfaceCount);
  events_raised_ = true;
  return pages_;
}

const PageContext& WebServer::PortPages() {
  port_pages_.paused = c_.t.Corrected.AnswerPaused && !c_.control.Monitoring();
  Pages();
  return port_pages_;
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
  brake_timer_->Stop();
  for (int n = 1; n <= kMaxConnections; ++n) {
    if (clients_[n].InUse && c_.listener.IsOpen(n)) c_.listener.Close(n);
  }
  c_.listener.Shutdown();
}

Claim WebServer::ClaimOf(int n) {
  if (PumpOf(n).slowed) return Claim::kSlowed;
  if (PumpOf(n).held) return Claim::kAnswering;
  return PumpOf(n).console && clients_[n].State == WebState::kRequestLine ? Claim::kConsole : Claim::kNone;
}

bool WebServer::StillOpen(int n, uint64_t serial) {
  return PumpOf(n).serial == serial && c_.listener.IsOpen(n);
}

void WebServer::Connected(int n) {
  PumpOf(n) = {};
  PumpOf(n).serial = next_serial_++;
  OpenClient(clients_[n]);
  ForgetSlot(n);
}

void WebServer::Disconnected(int n) {
  PumpOf(n).framer.Clear();
  PumpOf(n).serial = 0;
  PumpOf(n).slowed = false;
  CloseClient(clients_[n]);
}

void WebServer::Data(int n, std::string_view bytes) {
  const uint64_t serial = PumpOf(n).serial;
  PumpOf(n).framer.Feed(bytes);
  PumpOf(n).last_byte_ms = c_.clock.Steady().ms;
  while (StillOpen(n, serial) && !PumpOf(n).held) {
    const auto line = PumpOf(n).framer.NextLine();
    if (!line) break;
    if (clients_[n].State == WebState::kHeaders) NoteHeader(n, *line);
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

void WebServer::NoteHeader(int n, std::string_view header) {
  const size_t colon = header.find(':');
  if (colon == std::string_view::npos) return;
  const std::string_view name = header.substr(0, colon), value = Trim(header.substr(colon + 1));
  if (EqualsNoCase(name, "Content-Length")) {
    const int32_t size = LeadingNumber(value);
    PumpOf(n).content_length = size > 0 ? std::min(static_cast<size_t>(size), LineFramer::kMaxLine) : 0;
  } else if (EqualsNoCase(name, "Host")) {
    PumpOf(n).host_given = true;
    if (!HostAllowed(value, security_.allowed_hosts)) PumpOf(n).foreign_host = value.empty() ? kNoHost : value;
  } else if (EqualsNoCase(name, "Cookie")) {
    if (const std::string_view token = CookieValue(value, CookieName()); !token.empty()) PumpOf(n).token = token;
  }
}

void WebServer::DataIn(int n, std::string_view text, bool end_of_line) {
  const bool control = !text.empty() && text.front() == '@';
  if (!control) PumpOf(n).controls_only = false;
  // No page in a browser can make it send a line with "@" first, but one can put it into a body.
  if (control && (PumpOf(n).controls_only || !c_.t.Corrected.ControlAlone)) {
    if (ControlAllowed(n)) RunControlLine(n, text.substr(1));
    return;
  }
  // While monitoring is paused nobody answers: the browser waits on an open connection until it gives up.
  if (!c_.control.Monitoring() && !c_.t.Corrected.AnswerPaused) return;
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
  if (c_.t.Corrected.CheckHost && HostRefused(n)) return RefuseHost(n);
  KnowClient(n);
  if (!client.LoggedIn && client.CredentialsGiven) return CheckCredentials(n);
  AnswerRequest(n);
}

// Before HTTP/1.1 a request needed no Host; today's browsers send one always.
bool WebServer::HostRefused(int n) {
  const std::string version = Upper(Trim(clients_[n].Version));
  const bool needed = StartsWith(version, "HTTP/") && !StartsWith(version, "HTTP/1.0");
  if (needed && !PumpOf(n).host_given) PumpOf(n).foreign_host = kNoHost;
  return !PumpOf(n).foreign_host.empty();
}

// The program log names each host once, and a hundred at most: whoever asks can't fill the disk.
void WebServer::RefuseHost(int n) {
  constexpr size_t kMaxNamed = 100, kMaxShown = 100;
  const std::string host = OnOneLine(std::string_view(PumpOf(n).foreign_host).substr(0, kMaxShown));
  if (refused_hosts_.size() < kMaxNamed && refused_hosts_.insert(host).second) {
    c_.log.WriteProgramLog("Refused a request of " + c_.listener.RemoteHost(n) + " for the host '" + host +
                               "', which AllowedHosts in section [Security] of registry.ini does not name",
                           false);
  }
  c_.listener.Send(n,
                   "HTTP/1.0 403 Forbidden\r\nContent-Type: text/plain\r\n\r\n"
                   "Vantry is not served under this name. Ask for it by address, or add the name to AllowedHosts in "
                   "section [Security] of registry.ini.\r\n");
  c_.listener.Close(n);
}

void WebServer::AnswerRequest(int n) {
  const WebClient& client = clients_[n];
  const Command command = SplitCommand(client.Query);
  if (c_.settings.WebAccessLog) WriteAccessLog(n);
  if (!client.LoggedIn) {
    SendWebPage(n, LoginTable(PortPages(), n));
  } else if (const Page& page = FindPage(command.word); page.pieces) {
    SendPieces(n, page.pieces(PortPages(), n, command.argument));
  } else {
    SendWebPage(n, page.build(PortPages(), n, command.argument));
  }
  c_.listener.Close(n);
}

void WebServer::WriteAccessLog(int n) {
  const WebClient& client = clients_[n];
  const std::string line = c_.regional.General(c_.clock.Now()) + " " + c_.listener.RemoteHost(n) + " " +
                           std::to_string(c_.listener.RemotePort(n)) + " " + OnOneLine(client.Query) + " " +
                           OnOneLine(client.UserName) + "\r\n";
  // A page is answered whether or not its log line could be written.
  (void)c_.files.Append(c_.settings.DDFPath + "webaccess.log", line);
}

std::string WebServer::HeadFor(int n) {
  // WAP gateways get no status line and no empty line.
  constexpr std::string_view kDeckHead =
      "Cache-Control: no-cache\r\n<?xml version=\"1.0\"?>\r<!DOCTYPE wml PUBLIC \"-//WAPFORUM//DTD WML 1.1//EN\" "
      "\"http://www.wapforum.org/DTD/wml_1.1.xml\">\r\n";
  const std::string& cookie = PumpOf(n).set_cookie;
  if (clients_[n].IsWAP) return "Content-Type: text/vnd.wap.wml\r\n" + cookie + std::string(kDeckHead);
  return "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n" + cookie + "\r\n";
}

void WebServer::SendWebPage(int n, std::string_view text) {
  std::string all = HeadFor(n);
  all.reserve(all.size() + text.size() + 2);
  c_.listener.Send(n, all.append(text).append("\r\n"));
}

void WebServer::SendPieces(int n, PieceSource page) {
  c_.listener.SendPieces(n, [head = HeadFor(n), page = std::move(page)](std::string& out) mutable {
    out += std::exchange(head, std::string());
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
