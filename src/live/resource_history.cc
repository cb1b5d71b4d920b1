// The last hour by minutes, and what the history tells of earlier days.
#include <memory>
#include <utility>

#include "core/text.h"
#include "live/list_query.h"
#include "live/list_reply.h"
#include "live/resources.h"
#include "views/history_lists.h"

namespace vantry {
namespace {

constexpr size_t kRowsPerStep = 50;

// Rows of a list of the history. A cursor is the number of rows before it: rows are only ever added, and with an
// address or a site those of an earlier key may come in between.
class HistoryRows final : public ListRows {
 public:
  HistoryRows(const LiveTables& t, std::unique_ptr<HistoryList> list, size_t skip, size_t limit)
      : t_(t), list_(std::move(list)), row_(skip), left_(limit) {}

  Status FirstStep() { return list_->Step(kRowsPerStep); }

  bool Step(JsonWriter& json) override {
    if (row_ < list_->Rows()) return WriteRow(json);
    if (list_->Ended()) return false;
    if (const Status status = list_->Step(kRowsPerStep); !status.ok()) problem_ = status.text;
    return true;
  }
  std::string Next() const override { return next_; }
  std::string Problem() const override { return problem_; }

 private:
  bool WriteRow(JsonWriter& json) {
    if (left_ == 0) {
      next_ = MakeCursor(t_, std::to_string(row_));
      return false;
    }
    --left_;
    json.Begin();
    for (size_t c = 0; c < list_->Columns().size(); ++c) WriteCell(c, json);
    json.End();
    ++row_;
    return true;
  }

  void WriteCell(size_t c, JsonWriter& json) {
    const HistoryColumn& column = list_->Columns()[c];
    switch (column.kind) {
      case CellKind::kText:
        json.Text(column.key, list_->Text(row_, c));
        break;
      case CellKind::kDay:
        json.TextOrNull(column.key, list_->Number(row_, c) == 0 ? "" : list_->Shown(row_, c, nullptr));
        break;
      case CellKind::kCheck:
      case CellKind::kYes:
        json.Flag(column.key, list_->Number(row_, c) != 0);
        break;
      default:
        json.Number(column.key, list_->Number(row_, c));
    }
  }

  const LiveTables& t_;
  std::unique_ptr<HistoryList> list_;
  size_t row_, left_;
  std::string next_, problem_;
};

std::string SiteName(const LiveTables& t, int16_t site) {
  return site == 0 ? std::string() : t.Site(site).Name;
}

HttpReply HistoryReply(LiveContext& c, const ListQuery& query, std::unique_ptr<HistoryList> list) {
  uint64_t skip = 0;
  if (!query.cursor.empty()) {
    const auto place = ReadCursor(c.t, query.cursor);
    const auto number = place ? ReadCount(*place) : std::nullopt;
    if (!number) return ErrorReply(400, kBadCursor);
    skip = *number;
  }
  auto rows = std::make_unique<HistoryRows>(c.t, std::move(list), skip, query.limit);
  if (const Status status = rows->FirstStep(); !status.ok()) return ErrorReply(503, status.text);
  return ListReply(c, std::move(rows));
}

DaySoFar TodaySoFar(const LiveTables& t, int16_t site) {
  if (site == 0) {
    int64_t downloads = 0;
    for (const SiteRec& one : t.Sites) downloads += one.TodayDownloads;
    return {t.Today, {t.TodayVisitorCount, t.TodayAlertCount, t.TodaySpiderCount, t.TodayExceptionCount, downloads}};
  }
  const SiteRec& one = t.Site(site);
  return {t.Today, {one.TodayVisitors, one.TodayAlerts, one.TodaySpiders, one.TodayExceptions, one.TodayDownloads}};
}

}  // namespace

HttpReply Rates(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  if (const std::string error = ReadListQuery(request.query, c.t, kTakesSite, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  const ActivityRing& ring = c.t.Activity;
  const UtcTime fed = ring.FedAt().s != 0 ? ring.FedAt() : UtcTime{c.clock.Now().s - c.clock.UtcOffset()};
  const int64_t newest = FloorDiv(fed.s, 60);
  JsonWriter json(c.clock);
  json.Begin().NumberOrNull("site", query.site).BeginList("minutes");
  int64_t minute = newest - ActivityRing::kMinutes;
  for (const ActivityMinute& one : ring.HourOf(query.site)) {
    json.Begin().Time("time", UtcTime{++minute * 60}).Number("visitors", one.visitors);
    json.Number("page_views", one.page_views).Number("spiders", one.spiders);
    json.Number("exceptions", one.exceptions).End();
  }
  json.EndList().End();
  return JsonReply(json.Take());
}

HttpReply HistoryOfVisits(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  const unsigned takes = kTakesSite | kTakesAddress | kTakesDays | kTakesPlace;
  if (const std::string error = ReadListQuery(request.query, c.t, takes, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  const VisitSubject subject{query.address, SiteName(c.t, query.site)};
  return HistoryReply(c, query, PreviousVisits(c.history, subject, {query.from, query.to}));
}

HttpReply HistoryOfDays(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  const unsigned takes = kTakesSite | kTakesDays | kTakesPlace;
  if (const std::string error = ReadListQuery(request.query, c.t, takes, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  return HistoryReply(c, query,
                      Days(c.history, SiteName(c.t, query.site), {query.from, query.to}, TodaySoFar(c.t, query.site)));
}

}  // namespace vantry
