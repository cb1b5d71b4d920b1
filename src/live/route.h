// The table of addresses, and what a resource takes and gives.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "live/live_context.h"
#include "ports/http_server.h"
#include "ports/listener.h"

namespace vantry {

// The parameters of an address, decoded, in their order. A name without "=" has an empty value.
using LiveQuery = std::vector<std::pair<std::string, std::string>>;

// Empty when an escape is broken, a name comes twice, or there are more than kMostParameters.
inline constexpr size_t kMostParameters = 50;
std::optional<LiveQuery> ParseQuery(std::string_view text);

// The bytes that "%41" and the like stand for, and with `plus` blanks for "+"; empty when an escape is broken.
std::optional<std::string> DecodePercent(std::string_view text, bool plus);

// A request that has passed the doors.
struct LiveRequest {
  std::string path;  // Below BasePath, decoded, beginning with "/".
  std::string rest;  // What stands at the "*" of the route.
  LiveQuery query;
  std::string user;           // Empty where no login is asked for.
  std::string last_event_id;  // The header, as is the next.
  std::string if_none_match;
  bool gzip = false;  // The caller unpacks.
};

// A resource: a plain function. What is long gives a body in pieces (PiecesReply) or one of its own (HttpReply::body).
using Resource = HttpReply (*)(LiveContext& c, const LiveRequest& request);

enum class Entry : uint8_t {
  kOpen,     // For everybody.
  kPerson,   // Without a login answered by a way to the login.
  kMachine,  // Without a login answered by 401; Basic will do.
};

struct Route {
  std::string_view path;  // A "*" at its end stands for whatever follows, also nothing.
  Entry entry;
  Resource resource;
};

// All addresses but those of the login itself. The first that fits is taken.
extern const std::span<const Route> kRoutes;
const Route* FindRoute(std::string_view path, std::string& rest);

// A body out of a text that comes in pieces.
std::unique_ptr<HttpBody> PiecesBody(PieceSource next);

// Replies. The headers that all have in common are added later.
HttpReply JsonReply(std::string json);
HttpReply ErrorReply(int status, std::string_view message);  // {"error":{"status":404,"message":"..."}}
HttpReply TextReply(int status, std::string text);           // text/plain
// A text that is made while it is sent.
HttpReply PiecesReply(std::string_view type, PieceSource next);

}  // namespace vantry
