#include "live/route.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

int HexValue(char c) {
  const char lower = LowerAscii(c);
  if (IsDigit(c)) return c - '0';
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

class Pieces final : public HttpBody {
 public:
  explicit Pieces(PieceSource next) : next_(std::move(next)) {}

  Filled Fill(std::span<char> room) override {
    if (!ended_ && sent_ == piece_.size()) {
      piece_.clear();
      sent_ = 0;
      ended_ = !next_(piece_);
    }
    const size_t count = std::min(room.size(), piece_.size() - sent_);
    std::memcpy(room.data(), piece_.data() + sent_, count);
    sent_ += count;
    return {count, ended_ && sent_ == piece_.size() ? Filled::Then::kEnd : Filled::Then::kMore};
  }

 private:
  PieceSource next_;
  std::string piece_;
  size_t sent_ = 0;
  bool ended_ = false;
};

}  // namespace

std::optional<std::string> DecodePercent(std::string_view text, bool plus) {
  std::string bytes;
  bytes.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += plus && text[i] == '+' ? ' ' : text[i];
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const int high = HexValue(text[i + 1]), low = HexValue(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return bytes;
}

std::optional<LiveQuery> ParseQuery(std::string_view text) {
  LiveQuery query;
  if (text.empty()) return query;
  for (const std::string_view part : Split(text, '&')) {
    if (part.empty()) continue;
    const size_t equals = part.find('=');
    auto name = DecodePercent(part.substr(0, equals), true);
    auto value = DecodePercent(equals == std::string_view::npos ? "" : part.substr(equals + 1), true);
    if (!name || !value || query.size() == kMostParameters) return std::nullopt;
    if (std::any_of(query.begin(), query.end(), [&](const auto& known) { return known.first == *name; })) {
      return std::nullopt;
    }
    query.emplace_back(std::move(*name), std::move(*value));
  }
  return query;
}

const Route* FindRoute(std::string_view path, std::string& rest) {
  for (const Route& route : kRoutes) {
    const bool open_end = route.path.back() == '*';
    const std::string_view fixed = route.path.substr(0, route.path.size() - (open_end ? 1 : 0));
    if (open_end ? !StartsWith(path, fixed) : path != fixed) continue;
    rest = path.substr(fixed.size());
    return &route;
  }
  return nullptr;
}

std::unique_ptr<HttpBody> PiecesBody(PieceSource next) {
  return std::make_unique<Pieces>(std::move(next));
}

HttpReply JsonReply(std::string json) {
  return {200, {{"Content-Type", "application/json"}}, std::move(json)};
}

HttpReply ErrorReply(int status, std::string_view message) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> json(text);
  const std::string shown = ToUtf8(message);
  json.StartObject();
  json.Key("error");
  json.StartObject();
  json.Key("status");
  json.Int(status);
  json.Key("message");
  json.String(shown.data(), static_cast<rapidjson::SizeType>(shown.size()));
  json.EndObject();
  json.EndObject();
  return {status, {{"Content-Type", "application/json"}}, {text.GetString(), text.GetSize()}};
}

HttpReply TextReply(int status, std::string text) {
  return {status, {{"Content-Type", "text/plain; charset=utf-8"}}, std::move(text)};
}

HttpReply PiecesReply(std::string_view type, PieceSource next) {
  HttpReply reply;
  reply.headers.emplace_back("Content-Type", type);
  reply.body = PiecesBody(std::move(next));
  return reply;
}

}  // namespace vantry
