#include "live/event_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "live/resources.h"

namespace vantry {
namespace {

// How soon a browser that was cut off comes back.
constexpr std::string_view kRetry = "retry: 1000\n";

std::string Range(uint64_t from, uint64_t to) {
  return "{\"from\":" + std::to_string(from) + ",\"to\":" + std::to_string(to) + "}";
}

}  // namespace

std::string EventText(uint64_t id, std::string_view name, std::string_view data) {
  std::string text = "id: " + std::to_string(id) + "\nevent: ";
  return text.append(name).append("\ndata: ").append(data).append("\n\n");
}

EventStream::EventStream(EventLog& log, ListQuery filter, std::optional<uint64_t> after)
    : log_(&log), filter_(std::move(filter)), comment_round_(log.CommentRound()) {
  of_visitors_ = !filter_.address.empty() || !filter_.page.empty() || !filter_.country.empty() ||
                 !filter_.engine.empty() || filter_.spider;
  const uint64_t last = log.LastId();
  const bool known = !after || (*after + 1 >= log.FirstId() && *after <= last);
  next_ = (after && known ? *after : last) + 1;
  // An id without an event: whoever is cut off before the first one goes on from here.
  std::string begin(kRetry);
  begin += known ? "id: " + std::to_string(next_ - 1) + "\n\n" : EventText(last, "missed", Range(*after, last));
  text_ = std::make_shared<const std::string>(std::move(begin));
  log.Add(*this);
}

EventStream::~EventStream() {
  if (log_) log_->Remove(*this);
}

void EventStream::LogGoes() {
  log_ = nullptr;
  ends_ = true;
}

Filled EventStream::Fill(std::span<char> room) {
  size_t bytes = 0;
  while (bytes < room.size()) {
    if (text_ && sent_ == text_->size()) text_ = nullptr;
    if (!text_ && (ends_ || !NextText())) break;
    const size_t count = std::min(room.size() - bytes, text_->size() - sent_);
    std::memcpy(room.data() + bytes, text_->data() + sent_, count);
    sent_ += count;
    bytes += count;
  }
  if (bytes > 0) return {bytes, Filled::Then::kMore};
  return {0, ends_ ? Filled::Then::kEnd : Filled::Then::kWait};
}

bool EventStream::NextText() {
  sent_ = 0;
  if (next_ < log_->FirstId()) {
    // Nobody waits for a slow reader: what it has not read is gone.
    text_ = std::make_shared<const std::string>("event: slow\ndata: " + Range(next_, log_->LastId()) + "\n\n");
    ends_ = true;
    return true;
  }
  if (HasNews() && next_ <= log_->LastId()) {
    text_ = log_->TextOf(next_++);
    return true;
  }
  if (comment_round_ == log_->CommentRound()) return false;
  comment_round_ = log_->CommentRound();
  text_ = std::make_shared<const std::string>(":\n\n");
  return true;
}

// A slow reader in the middle of a text that nobody else has any more ends its own short text. A long one would be held
// by each of them, so the stream breaks off there; a reader drops an event without an end.
void EventStream::LetGo() {
  if (!text_ || next_ > log_->FirstId() || text_->size() - sent_ <= kMostOwnBytes) return;
  text_ = nullptr;
  ends_ = true;
}

bool EventStream::HasNews() {
  if (!log_) return true;
  LetGo();
  if (ends_ || next_ < log_->FirstId()) return true;
  while (next_ <= log_->LastId() && !Fits(log_->At(next_))) ++next_;
  return next_ <= log_->LastId() || comment_round_ != log_->CommentRound();
}

bool EventStream::Fits(const LiveEvent& event) const {
  using Kind = LiveEvent::Kind;
  if (event.kind == Kind::kMissed) return true;
  if (!filter_.FitsSite(event.site)) return false;
  if (!of_visitors_) return true;
  if (event.alert) return filter_.Fits(*event.alert) && !filter_.spider.value_or(false) && filter_.engine.empty();
  return event.visitor && filter_.Fits(*event.visitor);
}

HttpReply Events(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  if (const std::string error = ReadListQuery(request.query, c.t, kTakesVisitors | kTakesAfter, query);
      !error.empty()) {
    return ErrorReply(400, error);
  }
  if (!c.events) return ErrorReply(503, "no events are kept");
  // A browser that comes back repeats the address it began with, and tells in the header how far it came.
  std::optional<uint64_t> after = query.after;
  if (!request.last_event_id.empty()) after = ReadCount(request.last_event_id).value_or(0);
  HttpReply reply;
  reply.headers = {{"Content-Type", "text/event-stream"}, {"X-Accel-Buffering", "no"}};
  reply.body = std::make_unique<EventStream>(*c.events, std::move(query), after);
  return reply;
}

}  // namespace vantry
