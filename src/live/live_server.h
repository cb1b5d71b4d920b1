// The second listener: the doors before the live page and its numbers. A request passes them in their order (size,
// name of the server, method, address, login) and then reaches a function of kRoutes.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/registry_store.h"
#include "core/program_log.h"
#include "live/live_context.h"
#include "live/live_logins.h"
#include "live/live_settings.h"
#include "live/route.h"
#include "ports/http_server.h"

namespace vantry {

struct LiveServerContext {
  LiveContext resources;
  HttpServer& server;
  LiveLoginContext logins;
  ProgramLog& log;
  std::vector<std::string> allowed_hosts;  // Beside addresses and "localhost".
};

class LiveServer {
 public:
  LiveServer(LiveServerContext context, LiveSettings settings);
  ~LiveServer();
  LiveServer(const LiveServer&) = delete;
  LiveServer& operator=(const LiveServer&) = delete;

  // A failure says in one sentence what to do.
  Status Start();
  void Stop();
  // Where the page is, for people on this machine.
  std::string Address() const;
  LiveContext& Resources() { return c_.resources; }
  LiveLogins& Logins() { return logins_; }

  void Handle(const HttpRequest& request, const HttpAnswer& answer);

 private:
  struct Visit;  // A request on its way through the doors.

  std::optional<HttpReply> Refuse(const HttpRequest& request, Visit& visit) const;
  void Enter(Visit visit, const HttpAnswer& answer);
  void EnterWithBasic(Visit visit, const HttpAnswer& answer);
  void LogIn(const HttpRequest& request, const Visit& visit, const HttpAnswer& answer);
  HttpReply LogOut(const Visit& visit);
  HttpReply AfterLogin(const std::string& user, bool secure);
  void Serve(const Visit& visit, const HttpAnswer& answer);
  HttpReply NotLoggedIn(const Visit& visit, bool wrong) const;
  std::string CookieName() const { return "vantry_live_" + std::to_string(settings_.place.port); }
  std::string CookieLine(std::string_view token, bool secure) const;

  LiveServerContext c_;
  LiveSettings settings_;
  LiveLogins logins_;
};

}  // namespace vantry
