#include "live/live_server.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/text.h"
#include "live/page_files.h"
#include "web/host_check.h"
#include "web/logins.h"
#include "web/request_reader.h"

namespace vantry {
namespace {

constexpr std::string_view kLoginPath = "/login", kLogoutPath = "/logout";
constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
     "font-src 'self'; worker-src 'self'; manifest-src 'self'; base-uri 'none'; form-action 'self'; "
     "frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

HttpReply WithHeaders(HttpReply reply) {
  for (const auto& [name, value] : kHeaders) reply.headers.emplace_back(name, value);
  const bool cached = std::any_of(reply.headers.begin(), reply.headers.end(),
                                  [](const auto& header) { return header.first == "Cache-Control"; });
  if (!cached) reply.headers.emplace_back("Cache-Control", "no-store");
  return reply;
}

// Relative, as the page may lie below any path.
HttpReply SeeOther(std::string_view where) {
  HttpReply reply = TextReply(303, "See " + std::string(where) + "\n");
  reply.headers.emplace_back("Location", where);
  return reply;
}

HttpReply NotAllowed(const char* methods) {
  HttpReply reply = ErrorReply(405, std::string("Only ") + methods + " will do here.");
  reply.headers.emplace_back("Allow", methods);
  return reply;
}

// A body that ends with the session for which it was asked.
class SessionBody final : public HttpBody {
 public:
  SessionBody(std::unique_ptr<HttpBody> inner, std::shared_ptr<LiveSession> session, LiveLogins& logins)
      : inner_(std::move(inner)), session_(std::move(session)), logins_(logins) {
    inner_->SetWake([this] { Wake(); });
  }
  Filled Fill(std::span<char> room) override {
    if (!logins_.Use(*session_)) return {0, Filled::Then::kEnd};
    return inner_->Fill(room);
  }
  size_t Room() const override { return inner_->Room(); }

 private:
  std::unique_ptr<HttpBody> inner_;
  std::shared_ptr<LiveSession> session_;
  LiveLogins& logins_;
};

// Whose guesses they are: what a proxy of this machine says, otherwise the caller.
std::string PeerOf(const HttpRequest& request) {
  if (!IsLoopbackAddress(request.peer)) return request.peer;
  const std::string_view forwarded = request.Header("x-forwarded-for");
  const std::string_view last = Trim(forwarded.substr(forwarded.rfind(',') + 1));
  return last.empty() || last.size() > 45 ? request.peer : std::string(last);
}

}  // namespace

struct LiveServer::Visit {
  LiveRequest request;
  const Route* route = nullptr;
  std::shared_ptr<LiveSession> session;
  std::string token, authorization, peer;
  bool secure = false;  // Its way to the browser is encrypted.
};

LiveServer::LiveServer(LiveServerContext context, LiveSettings settings)
    : c_(std::move(context)), settings_(std::move(settings)), logins_(c_.logins, settings_.login) {}

LiveServer::~LiveServer() {
  Stop();
}

Status LiveServer::Start() {
  Status status = c_.server.Start(
      settings_.place, {}, [this](const HttpRequest& request, const HttpAnswer& answer) { Handle(request, answer); });
  settings_.place.key.clear();
  return status;
}

void LiveServer::Stop() {
  c_.server.Stop();
}

std::string LiveServer::Address() const {
  const std::string& address = settings_.place.address;
  const bool v6 = Contains(address, ":");
  const std::string host = address == "0.0.0.0" ? "127.0.0.1"
                           : address == "::"    ? "[::1]"
                           : v6                 ? "[" + address + "]"
                                                : address;
  return (settings_.place.certificate.empty() ? "http://" : "https://") + host + ":" +
         std::to_string(settings_.place.port) + settings_.base_path + "/";
}

void LiveServer::Handle(const HttpRequest& request, const HttpAnswer& answer) {
  Visit visit;
  if (auto refusal = Refuse(request, visit)) return answer(WithHeaders(std::move(*refusal)));
  visit.peer = PeerOf(request);
  visit.secure = request.encrypted || EqualsNoCase(request.Header("x-forwarded-proto"), "https");
  visit.authorization = request.Header("authorization");
  visit.token = CookieValue(request.Header("cookie"), CookieName());
  LiveRequest& asked = visit.request;
  asked.last_event_id = request.Header("last-event-id");
  asked.if_none_match = request.Header("if-none-match");
  asked.gzip = AcceptsGzip(request.Header("accept-encoding"));
  if (asked.path == kLoginPath && request.method == "POST") return LogIn(request, visit, answer);
  if (asked.path == kLogoutPath) return answer(WithHeaders(LogOut(visit)));
  if (asked.path == kLoginPath) {
    return answer(WithHeaders(logins_.Wanted() ? ServePageFile("login.html", asked) : SeeOther("./")));
  }
  Enter(std::move(visit), answer);
}

// What is refused before anybody is asked who he is.
std::optional<HttpReply> LiveServer::Refuse(const HttpRequest& request, Visit& visit) const {
  if (request.head_too_large) return ErrorReply(431, "The headers are too large.");
  if (request.Count("host") != 1) return ErrorReply(400, "One header Host is needed.");
  if (!HostAllowed(request.Header("host"), c_.allowed_hosts)) {
    return ErrorReply(421,
                      "This name is not served here. AllowedHosts in registry.ini, section Security, lists names.");
  }
  std::string_view raw = request.path;
  const std::string& base = settings_.base_path;
  if (!base.empty() && raw == base) return SeeOther(base.substr(base.rfind('/') + 1) + "/");
  // A proxy may have taken it off.
  if (!base.empty() && StartsWith(raw, base + "/")) raw.remove_prefix(base.size());
  auto path = DecodePercent(raw, false);
  if (!path || path->empty() || path->front() != '/' || Contains(*path, std::string_view("\0", 1))) {
    return ErrorReply(400, "The address can't be read.");
  }
  const bool login = *path == kLoginPath;
  const std::string& method = request.method;
  if (method != "GET" && method != "HEAD" && !(login && method == "POST")) {
    return NotAllowed(login ? "GET, HEAD, POST" : "GET, HEAD");
  }
  if (request.body_too_large) return ErrorReply(413, "The form is too large.");
  visit.request.path = std::move(*path);
  if (login || visit.request.path == kLogoutPath) return std::nullopt;
  visit.route = FindRoute(visit.request.path, visit.request.rest);
  if (!visit.route) return ErrorReply(404, "There is nothing at this address.");
  auto query = ParseQuery(request.query);
  if (!query) return ErrorReply(400, "The parameters can't be read.");
  visit.request.query = std::move(*query);
  return std::nullopt;
}

void LiveServer::Enter(Visit visit, const HttpAnswer& answer) {
  if (visit.route->entry == Entry::kOpen || !logins_.Wanted()) return Serve(visit, answer);
  if (!visit.token.empty()) visit.session = logins_.Find(visit.token);
  if (visit.session) {
    visit.request.user = visit.session->user;
    return Serve(visit, answer);
  }
  if (visit.route->entry == Entry::kMachine && !visit.authorization.empty()) {
    return EnterWithBasic(std::move(visit), answer);
  }
  answer(WithHeaders(NotLoggedIn(visit, false)));
}

void LiveServer::EnterWithBasic(Visit visit, const HttpAnswer& answer) {
  const std::string authorization = visit.authorization, peer = visit.peer;
  logins_.CheckBasic(authorization, peer,
                     [this, visit = std::move(visit), answer](Verdict verdict, std::string user) mutable {
                       if (verdict == Verdict::kBusy)
                         return answer(WithHeaders(ErrorReply(503, "Too many log in at once.")));
                       if (verdict == Verdict::kWrong) return answer(WithHeaders(NotLoggedIn(visit, true)));
                       visit.request.user = std::move(user);
                       Serve(visit, answer);
                     });
}

HttpReply LiveServer::NotLoggedIn(const Visit& visit, bool wrong) const {
  if (visit.route->entry == Entry::kPerson) return SeeOther("login");
  HttpReply reply = ErrorReply(401, wrong ? "Name or password is wrong." : "A login is needed.");
  // A browser that reads "Basic" asks for a password in a box of its own; programs that know theirs send it unasked.
  reply.headers.emplace_back("WWW-Authenticate", wrong ? "Basic realm=\"Vantry\"" : "Cookie realm=\"Vantry\"");
  return reply;
}

void LiveServer::Serve(const Visit& visit, const HttpAnswer& answer) {
  HttpReply reply;
  const bool served = c_.log.Guard("LiveServer.Serve", [&] {
    reply = visit.route->resource(c_.resources, visit.request);
    return Status::Ok();
  });
  if (!served) reply = ErrorReply(500, "This could not be answered; the program log TRL.LOG says why.");
  if (reply.body && visit.session) {
    reply.body = std::make_unique<SessionBody>(std::move(reply.body), visit.session, logins_);
  }
  answer(WithHeaders(std::move(reply)));
}

void LiveServer::LogIn(const HttpRequest& request, const Visit& visit, const HttpAnswer& answer) {
  if (!logins_.Wanted()) return answer(WithHeaders(SeeOther("./")));
  // Another site's page can't log anybody in here. Browsers that don't say are left to the cookie's own rule.
  const std::string_view from = request.Header("sec-fetch-site");
  if (!from.empty() && from != "same-origin" && from != "none") {
    return answer(WithHeaders(ErrorReply(403, "This form is of another site.")));
  }
  Credentials given{FormField(request.body, "user").value_or(""), FormField(request.body, "password").value_or("")};
  const std::string user = given.user;
  logins_.End(visit.token);
  logins_.Check(std::move(given), visit.peer, [this, user, secure = visit.secure, answer](Verdict verdict) {
    if (verdict == Verdict::kRight) return answer(WithHeaders(AfterLogin(user, secure)));
    answer(WithHeaders(SeeOther(verdict == Verdict::kBusy ? "login?busy#busy" : "login?wrong#wrong")));
  });
}

HttpReply LiveServer::AfterLogin(const std::string& user, bool secure) {
  std::string token;
  if (!c_.log.Guard("LiveServer.LogIn", [&] { return logins_.Begin(user, token); })) {
    return ErrorReply(500, "No login can be begun; the program log TRL.LOG says why.");
  }
  HttpReply reply = SeeOther("./");
  reply.headers.emplace_back("Set-Cookie", CookieLine(token, secure));
  return reply;
}

HttpReply LiveServer::LogOut(const Visit& visit) {
  logins_.End(visit.token);
  HttpReply reply = SeeOther(logins_.Wanted() ? "login" : "./");
  if (!visit.token.empty()) reply.headers.emplace_back("Set-Cookie", CookieLine("", visit.secure) + "; Max-Age=0");
  return reply;
}

std::string LiveServer::CookieLine(std::string_view token, bool secure) const {
  return CookieName() + "=" + std::string(token) + "; Path=" + settings_.base_path + "/; HttpOnly; SameSite=Strict" +
         (secure ? "; Secure" : "");
}

}  // namespace vantry
