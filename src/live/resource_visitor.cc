// One visitor with the pages that were seen.
#include <deque>
#include <memory>
#include <utility>

#include "core/text.h"
#include "live/list_query.h"
#include "live/live_rows.h"
#include "live/resources.h"

namespace vantry {
namespace {

constexpr size_t kMostPages = 1'000;
constexpr size_t kPagesPerStep = 100;
constexpr int kVisitDigits = 5;

struct SeenPage {
  LogTime time;
  std::string page;
  int64_t status = 0;
};

// The history is read in steps, as a visit may have ten thousands of pages. The visitor may leave meanwhile; what was
// known at the start is written first.
class VisitorPieces {
 public:
  VisitorPieces(LiveContext& c, const VisitorRec& v)
      : json_(c.clock),
        walk_(c.history.InOrder(HistoryTable::kPageViews, 0,
                                {std::string(v.IP), c.t.Site(v.Site).Name, PadNumber(v.VisitCount, kVisitDigits)})),
        query_(v.Query),
        newest_{v.LastPageTime, std::string(v.Page), v.Status} {
    json_.Begin();
    WriteVisitorFields(v, json_);
    json_.Time("first_visited", v.FirstVisited);
  }

  // As a PieceSource.
  bool Next(std::string& out) {
    if (walk_ && !walk_->Ended()) {
      const Status status = walk_->Step(kPagesPerStep, [this](const RowView& row) { Take(row); });
      if (status.ok() && !walk_->Ended()) {
        json_.MoveTo(out);
        out += ' ';
        return true;
      }
    }
    Finish();
    json_.MoveTo(out);
    return false;
  }

 private:
  void Take(const RowView& row) {
    using namespace pages;
    const auto day = row.Date(kPageDate);
    const auto second = ParseTime(row.Text(kPageTime));
    if (!day || !second) return;
    seen_.push_back({MakeLogTime(*day, *second), std::string(row.Text(kPage)), row.Number(kStatus)});
    if (seen_.size() > kMostPages) seen_.pop_front();
  }

  void Finish() {
    // The history keeps no queries, may be closed, and has no page of a replay.
    const bool has_newest = !seen_.empty() && seen_.back().time == newest_.time;
    if (!has_newest && newest_.time.s != 0) seen_.push_back(newest_);
    std::string_view query = query_;
    if (query.starts_with('?')) query.remove_prefix(1);
    json_.BeginList("pages_seen");
    for (const SeenPage& one : seen_) {
      json_.Begin().Time("time", one.time).Text("page", one.page);
      json_.Text("query", &one == &seen_.back() ? query : std::string_view()).Number("status", one.status).End();
    }
    json_.EndList().End();
  }

  JsonWriter json_;
  std::unique_ptr<RowWalk> walk_;
  std::string query_;
  SeenPage newest_;
  std::deque<SeenPage> seen_;
};

}  // namespace

HttpReply OneVisitor(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  if (const std::string error = ReadListQuery(request.query, c.t, 0, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  int16_t site = 0;
  std::string address;
  const VisitorRec* v = ReadKey(request.rest, site, address) ? c.t.Visitors.Lookup(site, address) : nullptr;
  if (!v) return ErrorReply(404, "there is no such visitor on line");
  auto pieces = std::make_shared<VisitorPieces>(c, *v);
  return PiecesReply("application/json", [pieces](std::string& out) { return pieces->Next(out); });
}

}  // namespace vantry
