// One reader of the events: reads on behind the log at its own pace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "live/event_log.h"
#include "live/list_query.h"
#include "ports/http_server.h"

namespace vantry {

class EventStream final : public HttpBody {
 public:
  // What is left of an event whose text the log does not hold any more.
  static constexpr size_t kMostOwnBytes = 16 * 1024;

  // Goes on behind the event `after`. If that is not known any more, tells so and begins with what comes next.
  EventStream(EventLog& log, ListQuery filter, std::optional<uint64_t> after);
  ~EventStream() override;
  EventStream(const EventStream&) = delete;
  EventStream& operator=(const EventStream&) = delete;

  Filled Fill(std::span<char> room) override;
  // Less, as there are a thousand of them.
  size_t Room() const override { return 4 * 1024; }

  // Whether there is something to send. Passes by what is not for this reader.
  bool HasNews();
  void LogGoes();

 private:
  bool NextText();
  void LetGo();
  bool Fits(const LiveEvent& event) const;

  EventLog* log_;
  ListQuery filter_;
  bool of_visitors_ = false;  // Only events of certain visitors are wanted.
  uint64_t next_ = 0;         // Id of the event that comes next.
  uint64_t comment_round_ = 0;
  std::shared_ptr<const std::string> text_;  // On its way, sent so far.
  size_t sent_ = 0;
  bool ends_ = false;  // After the text.
};

// An event as it goes over the line. `data` is one line.
std::string EventText(uint64_t id, std::string_view name, std::string_view data);

}  // namespace vantry
