#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/status.h"

namespace vantry {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

// A request with all of its head, and of its body what the limits allow. Everything in it comes from the caller.
struct HttpRequest {
  std::string method = {};
  std::string path = {};     // Up to "?", as it came.
  std::string query = {};    // After "?", as it came.
  HttpHeaders headers = {};  // Names in lower case.
  std::string body = {};     // Of a POST.
  std::string peer = {};     // The address, without its port.
  bool encrypted = false;
  bool head_too_large = false;  // Headers beyond the limit, which are left out here.
  bool body_too_large = false;

  // The header's value, the first one of several; empty without it. `name` in lower case.
  std::string_view Header(std::string_view name) const {
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const auto& h) { return h.first == name; });
    return found == headers.end() ? std::string_view() : std::string_view(found->second);
  }
  size_t Count(std::string_view name) const {
    return static_cast<size_t>(
        std::count_if(headers.begin(), headers.end(), [&](const auto& h) { return h.first == name; }));
  }
};

// What one look at a body gave.
struct Filled {
  enum class Then : uint8_t {
    kMore,  // Ask again as soon as the caller has room.
    kWait,  // Nothing for now: ask again after Wake.
    kEnd,   // That was all.
  };
  size_t bytes = 0;  // Written at the beginning of the room. None with kMore: others have their turn first.
  Then then = Then::kMore;
};

// A body that is made while it is sent: a long list, or events as they come. Used from the loop alone; it goes when its
// caller has left or it has ended, never inside a call of itself.
class HttpBody {
 public:
  virtual ~HttpBody() = default;
  // Takes a millisecond at most.
  virtual Filled Fill(std::span<char> room) = 0;
  // The room that Fill is given at most. It is held for as long as the caller stays.
  virtual size_t Room() const { return 16 * 1024; }
  // From anywhere on the loop, also while the caller has no room; the look comes later. Nothing before the body was
  // handed to a server.
  void Wake() const {
    if (wake_) wake_();
  }
  // For the server.
  void SetWake(std::function<void()> wake) { wake_ = std::move(wake); }

 private:
  std::function<void()> wake_;
};

struct HttpReply {
  int status = 200;
  HttpHeaders headers = {};             // Without Content-Length and Date.
  std::string text = {};                // The body, unless one of the next two is given.
  std::string_view constant = {};       // One that lives as long as the program.
  std::unique_ptr<HttpBody> body = {};  // Sent in pieces.
};

// Takes the reply, now or later, once. Nothing happens when the caller has left meanwhile.
using HttpAnswer = std::function<void(HttpReply reply)>;
using HttpHandler = std::function<void(const HttpRequest& request, HttpAnswer answer)>;

struct HttpPlace {
  std::string address;  // Empty for all.
  uint16_t port = 0;
  std::string certificate, key;  // PEM texts; both empty without encryption.
};

struct HttpLimits {
  size_t head_bytes = 8'192;  // Of all headers together, and of path and query.
  size_t body_bytes = 4'096;
  size_t callers = 2'000;
  int request_seconds = 15;  // From the connection or the end of the last answer to a whole request.
  int stalled_seconds = 60;  // Without the caller taking anything of its answer.
};

// A server for HTTP/1.1 on the loop. HEAD is answered like GET, without the body.
// Callers beyond the limit take the places of those who are silent, and, where an address holds more than half of the
// places, of the oldest of that address.
class HttpServer {
 public:
  virtual ~HttpServer() = default;
  // A failure names what is wrong: address and port, or the certificate.
  virtual Status Start(const HttpPlace& place, const HttpLimits& limits, HttpHandler handler) = 0;
  // Closes everything at once.
  virtual void Stop() = 0;
  virtual size_t Callers() const = 0;
};

}  // namespace vantry
