// What is let through to the resources, and as whom.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/program_log.h"
#include "live/event_log.h"
#include "live/event_stream.h"
#include "live/live_server.h"
#include "support/fake_http_server.h"
#include "support/fakes.h"
#include "support/memory_files.h"
#include "views/history_tables.h"

namespace vantry {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

struct NoHistory final : HistoryTables {
  std::unique_ptr<RowWalk> InOrder(HistoryTable, size_t, std::vector<std::string>) override { return nullptr; }
  std::unique_ptr<RowWalk> All(HistoryTable) override { return nullptr; }
};

struct DoorsTest : ::testing::Test {
  FakeClock clock;
  FakeLoop loop;
  FakeRandom random;
  MemoryFiles files;
  RegistryFile registry{files, "/home/registry.ini"};
  FakeHttpServer http;
  FakePasswords passwords;
  NoHistory history;
  LiveTables t;
  Settings settings;
  Regional regional;
  std::string log_text;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [this](std::string_view bytes) { log_text += bytes; }, [] {},
                  [](std::string_view) {}, [](std::string_view, EventLevel) {}}};
  std::unique_ptr<LiveServer> server;

  DoorsTest() { clock.Advance(100); }

  void Start(const std::string& more = "") {
    files.Put("/home/registry.ini", "[Live]\nPort=8005\n" + more);
    std::string problem;
    auto live = ReadLiveSettings(registry, files, problem);
    ASSERT_TRUE(live) << problem;
    server = std::make_unique<LiveServer>(LiveServerContext{.resources = {.t = t,
                                                                          .settings = settings,
                                                                          .regional = regional,
                                                                          .clock = clock,
                                                                          .history = history,
                                                                          .version = "1",
                                                                          .monitoring = [] { return true; },
                                                                          .queues = [] { return LiveQueues{}; }},
                                                            .server = http,
                                                            .logins = {registry, clock, loop, random, passwords},
                                                            .log = log,
                                                            .allowed_hosts = {"stats.example"}},
                                          std::move(*live));
    ASSERT_TRUE(server->Start().ok());
  }
  void StartWithPassword() { Start(Login("guard", "secret")); }
  static std::string Login(const std::string& user, const std::string& password) {
    return "User=" + user + "\nPasswordHash=" + FakePasswords::HashOf(password) + "\n";
  }

  static HttpRequest Get(const std::string& path, HttpHeaders more = {}) {
    HttpRequest request{.method = "GET", .path = path, .headers = std::move(more), .peer = "192.0.2.1"};
    if (request.Count("host") == 0) request.headers.emplace_back("host", "127.0.0.1:8005");
    return request;
  }
  int StatusOf(const HttpRequest& request) const {
    const auto reply = http.Ask(request);
    return reply ? reply->status : 0;
  }

  // The reply to a login once everything that it waits for is done; its cookie in `cookie`.
  HttpReply LogIn(const std::string& user, const std::string& password, HttpHeaders more = {}) {
    HttpRequest request = Get("/login", std::move(more));
    request.method = "POST";
    request.body = "user=" + user + "&password=" + password;
    std::optional<HttpReply> given;
    http.handler(request, [&given](HttpReply reply) { given = std::move(reply); });
    for (int i = 0; i < 400 && !given; ++i) {
      passwords.TellAll();
      clock.steady.ms += LiveLogins::kTickMs;
      loop.Tick(LiveLogins::kTickMs);
    }
    EXPECT_TRUE(given);
    return given ? std::move(*given) : HttpReply{.status = 0};
  }
  static HttpHeaders CookieOf(const HttpReply& reply) {
    const std::string line = HeaderOf(reply, "Set-Cookie");
    return {{"cookie", line.substr(0, line.find(';'))}};
  }
};

TEST_F(DoorsTest, EveryReplyHasTheHeaders) {
  StartWithPassword();
  for (const char* path : {"/", "/healthz", "/api/v1/program", "/nothing", "/login", "/logout", "/%zz"}) {
    const auto reply = http.Ask(Get(path));
    ASSERT_TRUE(reply) << path;
    EXPECT_THAT(HeaderOf(*reply, "Content-Security-Policy"), StartsWith("default-src 'none'; script-src 'self'"));
    EXPECT_EQ(HeaderOf(*reply, "X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(HeaderOf(*reply, "Referrer-Policy"), "no-referrer");
    EXPECT_EQ(HeaderOf(*reply, "Cross-Origin-Resource-Policy"), "same-origin");
    EXPECT_THAT(HeaderOf(*reply, "Cache-Control"), Not(IsEmpty())) << path;
    EXPECT_EQ(HeaderOf(*reply, "Access-Control-Allow-Origin"), "");
  }
  EXPECT_EQ(HeaderOf(*http.Ask(Get("/api/v1/program")), "Cache-Control"), "no-store");
}

TEST_F(DoorsTest, OnlyNamesOfThisMachineAreServed) {
  Start();
  for (const char* host : {"127.0.0.1:8005", "localhost", "[::1]:8005", "stats.example", "STATS.example:1"}) {
    EXPECT_EQ(StatusOf(Get("/healthz", {{"host", host}})), 200) << host;
  }
  EXPECT_EQ(StatusOf(Get("/healthz", {{"host", "evil.example"}})), 421);
  EXPECT_EQ(StatusOf(Get("/assets/a.js", {{"host", "evil.example"}})), 421);
  EXPECT_EQ(StatusOf(Get("/healthz", {{"host", "localhost"}, {"host", "localhost"}})), 400);
  EXPECT_EQ(StatusOf(Get("/healthz", {{"host", ""}})), 421);
  HttpRequest none = Get("/healthz", {{"x", ""}});
  none.headers = {{"x", ""}};
  EXPECT_EQ(StatusOf(none), 400);
}

TEST_F(DoorsTest, OnlyReadingAndTheFormOfTheLogin) {
  StartWithPassword();
  for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "get", ""}) {
    HttpRequest request = Get("/api/v1/program");
    request.method = method;
    const auto reply = http.Ask(request);
    EXPECT_EQ(reply->status, 405) << method;
    EXPECT_EQ(HeaderOf(*reply, "Allow"), "GET, HEAD");
  }
  HttpRequest request = Get("/login");
  request.method = "DELETE";
  EXPECT_EQ(HeaderOf(*http.Ask(request), "Allow"), "GET, HEAD, POST");
  request.method = "HEAD";
  EXPECT_EQ(StatusOf(request), 200);
}

TEST_F(DoorsTest, WhatIsTooLargeIsRefused) {
  StartWithPassword();
  HttpRequest request = Get("/healthz");
  request.head_too_large = true;
  EXPECT_EQ(StatusOf(request), 431);
  request = Get("/login");
  request.method = "POST";
  request.body_too_large = true;
  EXPECT_EQ(StatusOf(request), 413);
  EXPECT_EQ(passwords.compared, 0);
}

TEST_F(DoorsTest, AddressesAreReadOnce) {
  Start();
  for (const auto& [path, status] : std::vector<std::pair<std::string, int>>{{"/%68ealthz", 200},
                                                                             {"/%2568ealthz", 404},
                                                                             {"/healthz/", 404},
                                                                             {"/healthz%00", 400},
                                                                             {"/%", 400},
                                                                             {"", 400},
                                                                             {"http://127.0.0.1/healthz", 400},
                                                                             {"/assets/../healthz", 404}}) {
    EXPECT_EQ(StatusOf(Get(path)), status) << path;
  }
  HttpRequest request = Get("/healthz");
  request.query = "a=1&a=2";
  EXPECT_EQ(StatusOf(request), 400);
}

TEST_F(DoorsTest, WithoutAPasswordEverythingIsOpen) {
  Start();
  EXPECT_EQ(StatusOf(Get("/")), 200);
  EXPECT_EQ(StatusOf(Get("/api/v1/program")), 200);
  EXPECT_EQ(HeaderOf(*http.Ask(Get("/login")), "Location"), "./");
  EXPECT_EQ(HeaderOf(LogIn("a", "b"), "Location"), "./");
}

TEST_F(DoorsTest, WithoutALoginPeopleAreShownTheWayAndMachinesAreRefused) {
  StartWithPassword();
  const auto page = http.Ask(Get("/"));
  EXPECT_EQ(page->status, 303);
  EXPECT_EQ(HeaderOf(*page, "Location"), "login");
  const auto machine = http.Ask(Get("/api/v1/program"));
  EXPECT_EQ(machine->status, 401);
  EXPECT_EQ(TextOf(*machine), R"({"error":{"status":401,"message":"A login is needed."}})");
  EXPECT_THAT(HeaderOf(*machine, "WWW-Authenticate"), Not(HasSubstr("Basic")));
  EXPECT_EQ(StatusOf(Get("/healthz")), 200);
  EXPECT_EQ(StatusOf(Get("/readyz")), 200);
}

TEST_F(DoorsTest, ACookieOpensUntilTheLogout) {
  StartWithPassword();
  const HttpReply reply = LogIn("guard", "secret");
  EXPECT_EQ(HeaderOf(reply, "Location"), "./");
  const std::string line = HeaderOf(reply, "Set-Cookie");
  EXPECT_THAT(line, StartsWith("vantry_live_8005="));
  EXPECT_THAT(line, HasSubstr("; Path=/; HttpOnly; SameSite=Strict"));
  EXPECT_THAT(line, Not(HasSubstr("Secure")));
  const HttpHeaders cookie = CookieOf(reply);
  EXPECT_EQ(StatusOf(Get("/", cookie)), 200);
  EXPECT_THAT(TextOf(*http.Ask(Get("/api/v1/program", cookie))), HasSubstr(R"("user":"guard")"));
  const auto out = http.Ask(Get("/logout", cookie));
  EXPECT_EQ(HeaderOf(*out, "Location"), "login");
  EXPECT_THAT(HeaderOf(*out, "Set-Cookie"), HasSubstr("Max-Age=0"));
  EXPECT_EQ(StatusOf(Get("/", cookie)), 303);
}

TEST_F(DoorsTest, TheCookieIsForEncryptedWaysWhereTheWayIsOne) {
  StartWithPassword();
  EXPECT_THAT(HeaderOf(LogIn("guard", "secret", {{"x-forwarded-proto", "https"}}), "Set-Cookie"),
              HasSubstr("; Secure"));
  HttpRequest request = Get("/login");
  request.method = "POST";
  request.encrypted = true;
  request.body = "user=guard&password=secret";
  std::optional<HttpReply> given;
  http.handler(request, [&given](HttpReply reply) { given = std::move(reply); });
  passwords.TellAll();
  ASSERT_TRUE(given);
  EXPECT_THAT(HeaderOf(*given, "Set-Cookie"), HasSubstr("; Secure"));
}

TEST_F(DoorsTest, WrongNamesAndPasswordsOpenNothing) {
  StartWithPassword();
  for (const auto& [user, password] : std::vector<std::pair<std::string, std::string>>{
           {"guard", "wrong"}, {"other", "secret"}, {"", ""}, {"guard", ""}, {"GUARD", "secret"}}) {
    const HttpReply reply = LogIn(user, password);
    EXPECT_EQ(HeaderOf(reply, "Location"), "login?wrong#wrong") << user;
    EXPECT_EQ(HeaderOf(reply, "Set-Cookie"), "");
  }
  EXPECT_EQ(passwords.compared, 5);  // A wrong name takes as long as a wrong password.
}

TEST_F(DoorsTest, AnotherSitesFormIsNotTaken) {
  StartWithPassword();
  EXPECT_EQ(LogIn("guard", "secret", {{"sec-fetch-site", "cross-site"}}).status, 403);
  EXPECT_EQ(LogIn("guard", "secret", {{"sec-fetch-site", "same-site"}}).status, 403);
  EXPECT_EQ(LogIn("guard", "secret", {{"sec-fetch-site", "same-origin"}}).status, 303);
  EXPECT_EQ(passwords.compared, 1);
}

TEST_F(DoorsTest, MachinesShowNameAndPasswordEachTimeAndAreComparedOnce) {
  StartWithPassword();
  const HttpHeaders right{{"authorization", "Basic Z3VhcmQ6c2VjcmV0"}};  // guard:secret
  std::optional<HttpReply> given;
  http.handler(Get("/api/v1/program", right), [&given](HttpReply reply) { given = std::move(reply); });
  EXPECT_FALSE(given);
  passwords.TellAll();
  ASSERT_TRUE(given);
  EXPECT_EQ(given->status, 200);
  EXPECT_THAT(TextOf(*given), HasSubstr(R"("user":"guard")"));
  EXPECT_EQ(HeaderOf(*given, "Set-Cookie"), "");
  EXPECT_EQ(StatusOf(Get("/api/v1/program", right)), 200);
  EXPECT_EQ(passwords.compared, 1);
  clock.steady.ms += LiveLogins::kKnownMs + 1;
  EXPECT_EQ(StatusOf(Get("/api/v1/program", right)), 0);  // Compared again, as after any while.
  EXPECT_EQ(passwords.compared, 2);
  EXPECT_EQ(StatusOf(Get("/", right)), 303);  // The page is for people.
}

TEST_F(DoorsTest, AWrongHeaderOfAMachineIsRefused) {
  StartWithPassword();
  for (const char* value : {"Basic", "Basic ", "Basic !!!!", "Basic Z3VhcmQ=", "Bearer abc", "basic"}) {
    const auto reply = http.Ask(Get("/api/v1/program", {{"authorization", value}}));
    ASSERT_TRUE(reply) << value;
    EXPECT_EQ(reply->status, 401) << value;
  }
  EXPECT_EQ(passwords.compared, 0);
}

TEST_F(DoorsTest, GuessesAreHeldBackBeforeTheyAreCompared) {
  StartWithPassword();
  for (int i = 0; i < GuessBrake::kFreeTries; ++i) LogIn("guard", "wrong");
  const int before = passwords.compared;
  HttpRequest request = Get("/login");
  request.method = "POST";
  request.body = "user=guard&password=secret";
  std::optional<HttpReply> given;
  http.handler(request, [&given](HttpReply reply) { given = std::move(reply); });
  EXPECT_EQ(passwords.compared, before);
  clock.steady.ms += 1'500;
  loop.Tick(LiveLogins::kTickMs);
  EXPECT_EQ(passwords.compared, before + 1);
  passwords.TellAll();
  ASSERT_TRUE(given);
  EXPECT_EQ(HeaderOf(*given, "Location"), "./");
}

TEST_F(DoorsTest, TheRightPasswordOfAnotherAddressIsNotHeldBack) {
  StartWithPassword();
  for (int i = 0; i < GuessBrake::kFreeTries; ++i) LogIn("guard", "wrong");
  HttpRequest request = Get("/login");
  request.method = "POST";
  request.peer = "192.0.2.2";
  request.body = "user=guard&password=secret";
  std::optional<HttpReply> given;
  http.handler(request, [&given](HttpReply reply) { given = std::move(reply); });
  passwords.TellAll();
  EXPECT_TRUE(given);
}

TEST_F(DoorsTest, AProxyOfThisMachineNamesWhoGuesses) {
  StartWithPassword();
  const auto guess = [&](const char* forwarded) {
    HttpRequest request = Get("/login", {{"x-forwarded-for", forwarded}});
    request.method = "POST";
    request.peer = "127.0.0.1";
    request.body = "user=guard&password=secret";
    const int before = passwords.compared;
    http.handler(request, [](const HttpReply&) {});
    return passwords.compared > before;
  };
  for (int i = 0; i < GuessBrake::kFreeTries; ++i) {
    HttpRequest request = Get("/login", {{"x-forwarded-for", "10.0.0.1, 203.0.113.1"}});
    request.method = "POST";
    request.peer = "127.0.0.1";
    request.body = "user=guard&password=wrong";
    http.handler(request, [](const HttpReply&) {});
    passwords.TellAll();
  }
  EXPECT_FALSE(guess("203.0.113.1"));
  EXPECT_TRUE(guess("203.0.113.2"));
}

TEST_F(DoorsTest, TooManyAtOnceAreToldSo) {
  StartWithPassword();
  passwords.full = true;
  EXPECT_EQ(HeaderOf(LogIn("guard", "secret"), "Location"), "login?busy#busy");
  EXPECT_EQ(StatusOf(Get("/api/v1/program", {{"authorization", "Basic Z3VhcmQ6c2VjcmV0"}})), 503);
}

TEST_F(DoorsTest, SessionsEndBySilenceAndByAge) {
  StartWithPassword();
  HttpHeaders cookie = CookieOf(LogIn("guard", "secret"));
  clock.steady.ms += LiveLogins::kIdleMs - 1'000;
  EXPECT_EQ(StatusOf(Get("/", cookie)), 200);
  clock.steady.ms += LiveLogins::kIdleMs + 1;
  EXPECT_EQ(StatusOf(Get("/", cookie)), 303);
  cookie = CookieOf(LogIn("guard", "secret"));
  for (int64_t used = 0; used <= LiveLogins::kLongestMs - LiveLogins::kIdleMs; used += LiveLogins::kIdleMs) {
    EXPECT_EQ(StatusOf(Get("/", cookie)), 200);
    clock.steady.ms += LiveLogins::kIdleMs;
  }
  EXPECT_EQ(StatusOf(Get("/", cookie)), 303);
}

TEST_F(DoorsTest, OfTooManySessionsTheOneUnusedForLongestEnds) {
  StartWithPassword();
  const HttpHeaders first = CookieOf(LogIn("guard", "secret"));
  ++clock.steady.ms;
  const HttpHeaders second = CookieOf(LogIn("guard", "secret"));
  ++clock.steady.ms;
  EXPECT_EQ(StatusOf(Get("/", first)), 200);
  for (size_t i = 2; i <= LiveLogins::kMostSessions; ++i) LogIn("guard", "secret");
  EXPECT_EQ(server->Logins().Sessions(), LiveLogins::kMostSessions);
  EXPECT_EQ(StatusOf(Get("/", first)), 200);
  EXPECT_EQ(StatusOf(Get("/", second)), 303);
}

TEST_F(DoorsTest, AnotherPasswordEndsAllSessions) {
  StartWithPassword();
  const HttpHeaders cookie = CookieOf(LogIn("guard", "secret"));
  files.Put("/home/registry.ini", "[Live]\nPort=8005\n" + Login("guard", "new"));
  EXPECT_EQ(StatusOf(Get("/", cookie)), 200);  // It is looked for once a second.
  clock.steady.ms += LiveLogins::kLookMs;
  EXPECT_EQ(StatusOf(Get("/", cookie)), 303);
  EXPECT_EQ(HeaderOf(LogIn("guard", "secret"), "Location"), "login?wrong#wrong");
  EXPECT_EQ(HeaderOf(LogIn("guard", "new"), "Location"), "./");
}

TEST_F(DoorsTest, APasswordThatIsLostOpensNothing) {
  StartWithPassword();
  files.Put("/home/registry.ini", "[Live]\nPort=8005\n");
  clock.steady.ms += LiveLogins::kLookMs;
  EXPECT_EQ(StatusOf(Get("/")), 303);
  EXPECT_EQ(HeaderOf(LogIn("", ""), "Location"), "login?wrong#wrong");
}

TEST_F(DoorsTest, AFirstPasswordClosesWhatWasOpen) {
  Start();
  EXPECT_EQ(StatusOf(Get("/")), 200);
  files.Put("/home/registry.ini", "[Live]\nPort=8005\n" + Login("guard", "new"));
  clock.steady.ms += LiveLogins::kLookMs;
  EXPECT_EQ(StatusOf(Get("/")), 303);
}

TEST_F(DoorsTest, BelowABasePathWithAndWithoutIt) {
  Start("BasePath=/stats/live/\n" + Login("guard", "secret"));
  EXPECT_EQ(StatusOf(Get("/stats/live/healthz")), 200);
  EXPECT_EQ(StatusOf(Get("/healthz")), 200);
  EXPECT_EQ(StatusOf(Get("/stats/livehealthz")), 404);
  EXPECT_EQ(HeaderOf(*http.Ask(Get("/stats/live")), "Location"), "live/");
  EXPECT_THAT(HeaderOf(LogIn("guard", "secret"), "Set-Cookie"), HasSubstr("; Path=/stats/live/;"));
  EXPECT_EQ(server->Address(), "http://127.0.0.1:8005/stats/live/");
}

TEST_F(DoorsTest, AStreamEndsWithItsSession) {
  EventLog events(t, settings, clock, loop);
  StartWithPassword();
  server->Resources().events = &events;
  const HttpHeaders cookie = CookieOf(LogIn("guard", "secret"));
  auto reply = http.Ask(Get("/api/v1/events", cookie));
  ASSERT_TRUE(reply && reply->body);
  EXPECT_EQ(reply->body->Room(), EventStream(events, {}, {}).Room());
  std::string room(1'000, '\0');
  EXPECT_EQ(reply->body->Fill(room).then, Filled::Then::kMore);
  // It counts as a use of the session.
  for (int hours = 0; hours < 48; hours += 12) {
    clock.steady.ms += LiveLogins::kIdleMs;
    EXPECT_NE(reply->body->Fill(room).then, Filled::Then::kEnd);
  }
  EXPECT_EQ(StatusOf(Get("/logout", cookie)), 303);
  EXPECT_EQ(reply->body->Fill(room).then, Filled::Then::kEnd);
}

TEST_F(DoorsTest, WithoutRandomNumbersNobodyIsLoggedIn) {
  StartWithPassword();
  random.fails = true;
  const HttpReply reply = LogIn("guard", "secret");
  EXPECT_EQ(reply.status, 500);
  EXPECT_THAT(log_text, HasSubstr("no random numbers"));
}

}  // namespace
}  // namespace vantry
