#include "live/event_log.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/quiet_lines.h"
#include "live/event_stream.h"
#include "live/list_query.h"
#include "live/live_rows.h"

namespace vantry {
namespace {

// Microseconds since 1970 when the run began, and 15 digits: ids of a later run are higher, unless there were more than
// a million events in each second, and programs whose numbers have 53 bits can hold them.
uint64_t FirstIdOfRun(const Clock& clock) {
  constexpr int64_t kEpoch = 25'569 * kSecondsPerDay;
  const int64_t utc = clock.Now().s - clock.UtcOffset() - kEpoch;
  return static_cast<uint64_t>(std::max<int64_t>(utc, 1)) * 1'000'000 +
         static_cast<uint64_t>(clock.Steady().ms % 1'000) * 1'000;
}

std::string_view NameOf(LiveEvent::Kind kind) {
  constexpr std::array<std::string_view, 7> kNames = {"come", "move", "leave", "alert", "exception", "site", "missed"};
  return kNames[static_cast<size_t>(kind)];
}

// What a log's first reading brings has happened before, unless an earlier scan found nothing and the line is newer
// than that scan: the log was empty, or not there.
bool IsOfBefore(const SiteRec& site) {
  if (site.ReadOnce) return false;
  return site.ScanCount < 2 || site.LastReadDateTime.s + kBeforeStartSeconds <= site.LastScanTime.s;
}

}  // namespace

EventLog::EventLog(const LiveTables& t, const Settings& settings, const Clock& clock, Loop& loop)
    : t_(t),
      settings_(settings),
      json_(clock),
      gather_timer_(loop.NewTimer(kGatherMs, [this] { Show(); })),
      comment_timer_(loop.NewTimer(kCommentMs,
                                   [this] {
                                     ++comment_round_;
                                     WakeAll();
                                   })),
      wake_timer_(loop.NewTimer(0, [this] { WakeSome(); })),
      sites_timer_(loop.NewTimer(kSitesMs, [this] { LookAtSites(); })),
      first_id_(FirstIdOfRun(clock) + 1),
      begin_(first_id_),
      shown_(first_id_ - 1) {
  sites_timer_->Start();
}

EventLog::~EventLog() {
  for (EventStream* stream : streams_) stream->LogGoes();
}

// First readings and replays make no events. Whoever reads along is told to read the lists again when they are over.
bool EventLog::IsMuted(int16_t n) {
  if (n < 1 || n > t_.SiteCount()) return false;
  const SiteRec& site = t_.Site(n);
  if (!IsOfBefore(site) && !site.Replaying && site.ReplayUntilPos == 0 && !IsQuietLine(t_, site)) return false;
  if (missed_sites_.size() < t_.Sites.size()) missed_sites_.resize(t_.Sites.size());
  missed_sites_[static_cast<size_t>(n) - 1] = true;
  return true;
}

LiveEvent& EventLog::NewEvent(LiveEvent::Kind kind, int16_t site, const VisitorRec* visitor) {
  std::unique_ptr<VisitorRec> kept;
  while (events_.size() >= kMostEvents || (bytes_ > kMostBytes && !events_.empty())) {
    kept = std::move(events_.front().visitor);
    DropFirst();
  }
  LiveEvent& event = events_.emplace_back();
  event.kind = kind;
  event.site = site;
  if (visitor) {
    event.visitor = std::move(kept);
    if (event.visitor) {
      *event.visitor = *visitor;
    } else {
      event.visitor = std::make_unique<VisitorRec>(*visitor);
    }
  }
  if (!gather_timer_->Enabled()) gather_timer_->Start();
  return event;
}

void EventLog::DropFirst() {
  bytes_ -= events_.front().bytes;
  events_.pop_front();
  ++first_id_;
}

// Adds up what the event takes, besides what all have in common.
void EventLog::Weigh(LiveEvent& event) {
  bytes_ -= event.bytes;
  event.bytes = event.text ? event.text->size() : 0;
  if (const VisitorRec* v = event.visitor.get()) event.bytes += v->IP.size() + v->Page.size() + v->Query.size();
  if (event.alert) event.bytes += event.alert->TextBytes();
  if (event.exception) event.bytes += event.exception->TextBytes();
  bytes_ += event.bytes;
}

void EventLog::Came(const VisitorRec& v) {
  if (IsMuted(v.Site)) return;
  Weigh(NewEvent(LiveEvent::Kind::kCome, v.Site, &v));
  gathered_[&v] = first_id_ + events_.size() - 1;
}

void EventLog::Changed(const VisitorRec& v) {
  if (IsMuted(v.Site)) return;
  uint64_t& id = gathered_[&v];
  if (id > shown_ && id >= first_id_) {
    LiveEvent& event = events_[static_cast<size_t>(id - first_id_)];
    *event.visitor = v;
    Weigh(event);
    return;
  }
  Weigh(NewEvent(LiveEvent::Kind::kMove, v.Site, &v));
  id = first_id_ + events_.size() - 1;
}

void EventLog::Left(const VisitorRec& v) {
  gathered_.erase(&v);  // Somebody else may get the place.
  if (!IsMuted(v.Site)) Weigh(NewEvent(LiveEvent::Kind::kLeave, v.Site, &v));
}

void EventLog::AlertRaised() {
  const AlertRow& row = t_.logGrid.At(t_.logGrid.EndNumber() - 1);
  if (IsMuted(row.site)) return;
  LiveEvent& event = NewEvent(LiveEvent::Kind::kAlert, row.site, nullptr);
  event.alert = std::make_unique<AlertRow>(row);
  event.row = t_.logGrid.EndNumber();
  Weigh(event);
}

// Most are raised by a line, whose visitor is on line already. The host's name tells less than the line's address.
const VisitorRec* EventLog::VisitorOf(const ExceptionRow& row, std::string_view address) const {
  if (row.site < 1 || address.empty()) return nullptr;
  const VisitorRec* v = t_.Visitors.Lookup(row.site, address);
  return !v && t_.Site(row.site).Scanning ? t_.Visitors.Lookup(row.site, t_.Hit.HitIP) : v;
}

// Beside the row, as the visitor may have left when the list is asked for.
void EventLog::KeepKey(const VisitorRec* v) {
  std::string key = v ? KeyText(v->Site, v->IP) : std::string();
  if (key.size() > kMostKeyBytes) key.clear();
  exception_keys_.push_back(std::move(key));
  while (exception_keys_.size() > t_.exGrid.RowCount()) exception_keys_.pop_front();
}

std::string_view EventLog::ExceptionKey(uint64_t row) const {
  const uint64_t from_end = t_.exGrid.EndNumber() - row;
  return from_end < exception_keys_.size() ? exception_keys_[exception_keys_.size() - 1 - from_end]
                                           : std::string_view();
}

void EventLog::ExceptionRaised(std::string_view address) {
  const ExceptionRow& row = t_.exGrid.At(t_.exGrid.EndNumber() - 1);
  ++exceptions_[row.number];
  const VisitorRec* v = VisitorOf(row, address);
  KeepKey(v);
  if (IsMuted(row.site)) return;
  LiveEvent& event = NewEvent(LiveEvent::Kind::kException, row.site, v);
  event.exception = std::make_unique<ExceptionRow>(row);
  event.row = t_.exGrid.EndNumber();
  Weigh(event);
}

// The events that were gathered are whole now.
void EventLog::Show() {
  gather_timer_->Stop();
  shown_ = first_id_ + events_.size() - 1;
  gathered_.clear();
  WakeAll();
}

// A thousand readers take tens of milliseconds: others get their turns in between.
void EventLog::WakeAll() {
  to_wake_ = streams_.size();
  WakeSome();
}

void EventLog::WakeSome() {
  for (size_t i = std::min(to_wake_, kWokenAtOnce); i > 0; --i, --to_wake_) {
    EventStream& stream = *streams_[next_to_wake_++ % streams_.size()];
    if (stream.HasNews()) stream.Wake();
  }
  if (to_wake_ == 0) {
    wake_timer_->Stop();
  } else if (!wake_timer_->Enabled()) {
    wake_timer_->Start();
  }
}

void EventLog::LookAtSites() {
  LookForMissed();
  if (!streams_.empty()) LookForChanges();
}

// Without a reader too: whoever comes later begins after it.
void EventLog::LookForMissed() {
  bool missed = false;
  for (size_t i = 0; i < missed_sites_.size(); ++i) {
    const auto n = static_cast<int16_t>(i + 1);
    if (!missed_sites_[i] || t_.Site(n).Scanning) continue;
    missed_sites_[i] = false;
    // Still muted, though nothing is being read: told later.
    if (IsMuted(n)) continue;
    missed = true;
  }
  if (missed) Weigh(NewEvent(LiveEvent::Kind::kMissed, 0, nullptr));
}

void EventLog::LookForChanges() {
  told_sites_.resize(t_.Sites.size());
  for (size_t i = 0; i < t_.Sites.size(); ++i) {
    const SiteRec& site = t_.Sites[i];
    if (site.Deleted) continue;
    const auto n = static_cast<int16_t>(i + 1);
    std::string now = SiteNumbers(site);
    if (now == told_sites_[i]) continue;
    told_sites_[i] = std::move(now);
    Weigh(NewEvent(LiveEvent::Kind::kSite, n, nullptr));
  }
}

void EventLog::Encode(uint64_t id, LiveEvent& event) {
  using Kind = LiveEvent::Kind;
  switch (event.kind) {
    case Kind::kCome:
    case Kind::kMove:
      WriteVisitor(*event.visitor, json_);
      break;
    case Kind::kLeave:
      json_.Begin().Text("key", KeyText(event.site, event.visitor->IP)).Number("site", event.site);
      json_.Number("visit", event.visitor->VisitNo).End();
      break;
    case Kind::kAlert:
      WriteAlert(t_, event.row, *event.alert, json_);
      break;
    case Kind::kException:
      WriteException(settings_, event.row, *event.exception,
                     event.visitor ? KeyText(event.site, event.visitor->IP) : "", json_);
      break;
    case Kind::kSite:
      WriteSite(t_, event.site, json_);
      break;
    case Kind::kMissed:
      json_.Begin().Number("from", static_cast<int64_t>(id)).Number("to", static_cast<int64_t>(id)).End();
  }
  event.text = std::make_shared<const std::string>(EventText(id, NameOf(event.kind), json_.Take()));
}

std::shared_ptr<const std::string> EventLog::TextOf(uint64_t id) {
  LiveEvent& event = events_[static_cast<size_t>(id - first_id_)];
  if (!event.text) {
    Encode(id, event);
    Weigh(event);
  }
  return event.text;
}

void EventLog::Add(EventStream& stream) {
  if (streams_.empty()) comment_timer_->Start();
  streams_.push_back(&stream);
}

void EventLog::Remove(EventStream& stream) {
  std::erase(streams_, &stream);
  to_wake_ = std::min(to_wake_, streams_.size());
  // The others have other places now: nobody is passed over.
  if (to_wake_ > 0) to_wake_ = streams_.size();
  if (streams_.empty()) comment_timer_->Stop();
}

}  // namespace vantry
