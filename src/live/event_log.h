// What happens on the sites, as events with ids: the newest of them for streams that read behind, each encoded once for
// all of them, and not before the first one wants it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "config/settings.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "live/json_writer.h"
#include "ports/clock.h"
#include "ports/loop.h"

namespace vantry {

class EventStream;
struct ListQuery;

struct LiveEvent {
  enum class Kind : uint8_t { kCome, kMove, kLeave, kAlert, kException, kSite, kMissed };

  Kind kind = Kind::kMissed;
  int16_t site = 0;                     // 0: no site's.
  std::unique_ptr<VisitorRec> visitor;  // As it was then; also who an exception is about, where that is known.
  std::unique_ptr<AlertRow> alert;
  std::unique_ptr<ExceptionRow> exception;
  uint64_t row = 0;  // The id of alert or exception in its list.
  size_t bytes = 0;  // What it takes, about.
  std::shared_ptr<const std::string> text;
};

class EventLog final : public LiveEvents {
 public:
  static constexpr size_t kMostEvents = 10'000;
  // A hostile log has pages of any length.
  static constexpr size_t kMostBytes = 64u << 20;
  static constexpr int64_t kGatherMs = 50;
  static constexpr int64_t kCommentMs = 15'000;
  static constexpr int64_t kSitesMs = 1'000;
  static constexpr size_t kWokenAtOnce = 50;
  // Longer ones, of hostile logs, are not kept for the list of exceptions.
  static constexpr size_t kMostKeyBytes = 300;

  EventLog(const LiveTables& t, const Settings& settings, const Clock& clock, Loop& loop);
  ~EventLog() override;
  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  void Came(const VisitorRec& visitor) override;
  void Changed(const VisitorRec& visitor) override;
  void Left(const VisitorRec& visitor) override;
  void AlertRaised() override;
  void ExceptionRaised(std::string_view address) override;

  // Ids count up by one; those of another run of the program are others.
  // The newest event that may be read: until kGatherMs are over, an event may still take up another change.
  uint64_t LastId() const { return shown_; }
  // The oldest one that is still there; above LastId() if there is none.
  uint64_t FirstId() const { return first_id_; }
  const LiveEvent& At(uint64_t id) const { return events_[static_cast<size_t>(id - first_id_)]; }
  // As it goes over the line.
  std::shared_ptr<const std::string> TextOf(uint64_t id);

  void Add(EventStream& stream);
  void Remove(EventStream& stream);
  size_t Streams() const { return streams_.size(); }
  // Events of this run so far.
  uint64_t Count() const { return first_id_ + events_.size() - begin_; }
  // How often exceptions of each number were raised in this run, first readings included.
  const std::map<int16_t, uint64_t>& Exceptions() const { return exceptions_; }
  // The key of the visitor whom a row of today's exceptions is about, by the row's id; empty where none is known.
  std::string_view ExceptionKey(uint64_t row) const;
  // How often streams were told to send a comment.
  uint64_t CommentRound() const { return comment_round_; }

 private:
  bool IsMuted(int16_t site);
  const VisitorRec* VisitorOf(const ExceptionRow& row, std::string_view address) const;
  void KeepKey(const VisitorRec* visitor);
  LiveEvent& NewEvent(LiveEvent::Kind kind, int16_t site, const VisitorRec* visitor);
  void DropFirst();
  void Weigh(LiveEvent& event);
  void Show();
  void WakeAll();
  void WakeSome();
  void LookAtSites();
  void LookForMissed();
  void LookForChanges();
  void Encode(uint64_t id, LiveEvent& event);

  const LiveTables& t_;
  const Settings& settings_;
  JsonWriter json_;
  std::unique_ptr<Timer> gather_timer_, comment_timer_, wake_timer_, sites_timer_;
  std::deque<LiveEvent> events_;
  uint64_t first_id_;
  const uint64_t begin_;  // The first id of the run.
  uint64_t shown_;
  size_t bytes_ = 0;
  // The event of each visitor that is not shown yet. The addresses are names, nothing is read there.
  std::unordered_map<const VisitorRec*, uint64_t> gathered_;
  std::vector<EventStream*> streams_;
  size_t to_wake_ = 0, next_to_wake_ = 0;  // How many are still to be woken, and where the next one is.
  uint64_t comment_round_ = 0;
  std::vector<std::string> told_sites_;  // What was last told of each.
  std::map<int16_t, uint64_t> exceptions_;
  std::deque<std::string> exception_keys_;  // Of the day list's newest rows, one for each.
  std::vector<bool> missed_sites_;          // Something happened there that made no event.
};

}  // namespace vantry
