// The lists whose rows are records of the tables: sites, visitors, and what happened today.
#include <memory>
#include <utility>

#include "live/event_log.h"
#include "live/list_query.h"
#include "live/list_reply.h"
#include "live/live_rows.h"
#include "live/resources.h"

namespace vantry {
namespace {

// Goes through the sites by their numbers.
class SiteRows final : public ListRows {
 public:
  SiteRows(const LiveTables& t, ListQuery query, int16_t after)
      : t_(t), query_(std::move(query)), number_(after), left_(query_.limit) {}

  bool Step(JsonWriter& json) override {
    if (number_ >= t_.SiteCount()) return false;
    ++number_;
    if (t_.Site(number_).Deleted || !query_.FitsSite(number_)) return true;
    if (left_ == 0) {
      next_ = MakeCursor(t_, std::to_string(number_ - 1));
      return false;
    }
    --left_;
    WriteSite(t_, number_, json);
    return true;
  }
  std::string Next() const override { return next_; }

 private:
  const LiveTables& t_;
  ListQuery query_;
  int16_t number_;
  size_t left_;
  std::string next_;
};

// In order of arrival. Whoever comes after the list has begun is not in it: events tell of them.
class VisitorRows final : public ListRows {
 public:
  VisitorRows(const LiveTables& t, ListQuery query, uint64_t after)
      : t_(t), query_(std::move(query)), last_(after), left_(query_.limit) {}

  bool Step(JsonWriter& json) override {
    if (!walk_) {
      walk_ = t_.Visitors.NewWalk();
      walk_->next = t_.Visitors.FirstFrom(last_ + 1);
    }
    if (walk_->Done()) return false;
    const VisitorRec* v = t_.Visitors.Step(*walk_);
    if (!v || !query_.Fits(*v)) return true;
    if (left_ == 0) {
      next_ = MakeCursor(t_, std::to_string(last_));
      return false;
    }
    --left_;
    last_ = t_.Visitors.ArrivalAt(v->Number);
    WriteVisitor(*v, json);
    return true;
  }
  std::string Next() const override { return next_; }

 private:
  const LiveTables& t_;
  ListQuery query_;
  std::shared_ptr<VisitorTable::Walk> walk_;
  uint64_t last_;  // Ordinal of the last one that is listed.
  size_t left_;
  std::string next_;
};

// Rows of a day list, newest first.
template <class Row>
class DayRows final : public ListRows {
 public:
  using Write = void (*)(LiveContext& c, uint64_t id, const Row& row, JsonWriter& json);

  DayRows(LiveContext& c, const DayList<Row>& list, Write write, ListQuery query, uint64_t before)
      : c_(c), list_(list), write_(write), query_(std::move(query)), next_row_(before), left_(query_.limit) {}

  bool Step(JsonWriter& json) override {
    // Rows that are dropped meanwhile are the oldest.
    if (next_row_ == 0 || !list_.Has(next_row_ - 1)) return false;
    const Row& row = list_.At(--next_row_);
    if (DayOf(row.when) != c_.t.Today || !query_.Fits(row)) return true;
    if (left_ == 0) {
      next_ = MakeCursor(c_.t, std::to_string(next_row_ + 1));
      return false;
    }
    --left_;
    write_(c_, next_row_ + 1, row, json);
    return true;
  }
  std::string Next() const override { return next_; }

 private:
  LiveContext& c_;
  const DayList<Row>& list_;
  Write write_;
  ListQuery query_;
  uint64_t next_row_;  // One above the row that comes next.
  size_t left_;
  std::string next_;
};

// The place in a cursor; `otherwise` where there is none. False for a cursor that is none of this run.
bool ReadPlace(const LiveTables& t, const ListQuery& query, uint64_t otherwise, uint64_t& place) {
  place = otherwise;
  if (query.cursor.empty()) return true;
  const auto text = ReadCursor(t, query.cursor);
  const auto number = text ? ReadCount(*text) : std::nullopt;
  if (number) place = *number;
  return number.has_value();
}

template <class Row>
HttpReply DayListReply(LiveContext& c, const LiveRequest& request, const DayList<Row>& list, unsigned takes,
                       typename DayRows<Row>::Write write) {
  ListQuery query;
  if (const std::string error = ReadListQuery(request.query, c.t, takes | kTakesPlace, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  uint64_t before = 0;
  if (!ReadPlace(c.t, query, list.EndNumber(), before)) return ErrorReply(400, kBadCursor);
  // A cursor stands for the row's id, one above its number.
  if (!query.cursor.empty() && before > 0) --before;
  return ListReply(c, std::make_unique<DayRows<Row>>(c, list, write, std::move(query), before));
}

}  // namespace

HttpReply Sites(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  if (const std::string error = ReadListQuery(request.query, c.t, kTakesSite | kTakesPlace, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  uint64_t after = 0;
  if (!ReadPlace(c.t, query, 0, after) || after > c.t.Sites.size()) return ErrorReply(400, kBadCursor);
  return ListReply(c, std::make_unique<SiteRows>(c.t, std::move(query), static_cast<int16_t>(after)));
}

HttpReply Visitors(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  const unsigned takes = kTakesVisitors | kTakesPlace;
  if (const std::string error = ReadListQuery(request.query, c.t, takes, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  uint64_t after = 0;
  if (!ReadPlace(c.t, query, 0, after)) return ErrorReply(400, kBadCursor);
  return ListReply(c, std::make_unique<VisitorRows>(c.t, std::move(query), after));
}

HttpReply Spiders(LiveContext& c, const LiveRequest& request) {
  return DayListReply<SpiderRow>(
      c, request, c.t.spiderGrid, kTakesVisitors,
      [](LiveContext&, uint64_t id, const SpiderRow& row, JsonWriter& json) { WriteSpider(id, row, json); });
}

HttpReply AlertsToday(LiveContext& c, const LiveRequest& request) {
  return DayListReply<AlertRow>(c, request, c.t.logGrid, kTakesVisitors & ~kTakesSpider,
                                [](LiveContext& context, uint64_t id, const AlertRow& row, JsonWriter& json) {
                                  WriteAlert(context.t, id, row, json);
                                });
}

HttpReply ExceptionsToday(LiveContext& c, const LiveRequest& request) {
  return DayListReply<ExceptionRow>(c, request, c.t.exGrid, kTakesSite,
                                    [](LiveContext& context, uint64_t id, const ExceptionRow& row, JsonWriter& json) {
                                      const EventLog* events = context.events;
                                      WriteException(context.settings, id, row, events ? events->ExceptionKey(id) : "",
                                                     json);
                                    });
}

}  // namespace vantry
