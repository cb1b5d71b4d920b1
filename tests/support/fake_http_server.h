// An HTTP server without a network, and passwords that take no time.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "ports/http_server.h"
#include "ports/passwords.h"

namespace vantry {

class FakeHttpServer final : public HttpServer {
 public:
  Status answer;
  std::optional<HttpPlace> place;
  HttpHandler handler;
  Status Start(const HttpPlace& p, const HttpLimits&, HttpHandler h) override {
    if (!answer.ok()) return answer;
    place = p;
    handler = std::move(h);
    return Status::Ok();
  }
  void Stop() override { handler = nullptr; }
  size_t Callers() const override { return 0; }

  // The reply, empty while the answer is held back.
  std::optional<HttpReply> Ask(HttpRequest request) const {
    std::optional<HttpReply> given;
    if (request.headers.empty()) request.headers = {{"host", "127.0.0.1"}};
    handler(request, [&given](HttpReply reply) { given = std::move(reply); });
    return given;
  }
};

// The hash of "x" is "$hash$of$the$password$x". Answers come when the test says so.
class FakePasswords final : public Passwords {
 public:
  static std::string HashOf(const std::string& password) { return "$hash$of$the$password$" + password; }
  std::deque<std::function<void()>> waiting;
  int compared = 0;
  bool full = false;
  bool Verify(std::string password, std::string hash, std::function<void(bool right)> told) override {
    if (full) return false;
    ++compared;
    waiting.emplace_back([right = HashOf(password) == hash, told = std::move(told)] { told(right); });
    return true;
  }
  void Forget() override { waiting.clear(); }
  std::string Digest(std::string_view text) override { return "digest of " + std::string(text); }
  void TellAll() {
    while (!waiting.empty()) {
      const auto told = std::move(waiting.front());
      waiting.pop_front();
      told();
    }
  }
};

// All of a body as it is now; stops where it would wait.
inline std::string TextOf(const HttpReply& reply) {
  if (!reply.body) return reply.constant.empty() ? reply.text : std::string(reply.constant);
  std::string text;
  for (int i = 0; i < 100'000; ++i) {
    char room[1'000];
    const Filled filled = reply.body->Fill(room);
    text.append(room, filled.bytes);
    if (filled.then != Filled::Then::kMore) break;
  }
  return text;
}

inline std::string HeaderOf(const HttpReply& reply, std::string_view name) {
  for (const auto& [key, value] : reply.headers) {
    if (key == name) return value;
  }
  return {};
}

}  // namespace vantry
