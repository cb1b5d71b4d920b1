#include "live/list_reply.h"

#include <utility>

#include "live/event_log.h"

namespace vantry {
namespace {

class ListPieces {
 public:
  ListPieces(LiveContext& c, std::unique_ptr<ListRows> rows) : c_(c), rows_(std::move(rows)), json_(c.clock) {}

  // As a PieceSource.
  bool Next(std::string& out) {
    if (!begun_) {
      begun_ = true;
      event_ = c_.events ? c_.events->LastId() : 0;
      json_.Begin().BeginList("items");
    }
    const bool more = SomeRows();
    if (!more) Finish();
    // A piece has something, so that nobody asks on and on for the next: blanks between values are nothing.
    if (json_.Size() == 0) out += ' ';
    json_.MoveTo(out);
    return more;
  }

 private:
  static constexpr int kStepsPerLook = 64;

  bool SomeRows() {
    const int64_t begin = c_.clock.Steady().ms;
    for (int steps = 1; json_.Size() < kListPieceBytes; ++steps) {
      if (!rows_->Step(json_)) return false;
      if (steps % kStepsPerLook == 0 && c_.clock.Steady().ms != begin) break;
    }
    return true;
  }

  void Finish() {
    json_.EndList().TextOrNull("next", rows_->Next()).Number("event", static_cast<int64_t>(event_));
    if (const std::string problem = rows_->Problem(); !problem.empty()) json_.Text("problem", problem);
    json_.End();
  }

  LiveContext& c_;
  std::unique_ptr<ListRows> rows_;
  JsonWriter json_;
  uint64_t event_ = 0;
  bool begun_ = false;
};

}  // namespace

HttpReply ListReply(LiveContext& c, std::unique_ptr<ListRows> rows) {
  auto pieces = std::make_shared<ListPieces>(c, std::move(rows));
  return PiecesReply("application/json", [pieces](std::string& out) { return pieces->Next(out); });
}

}  // namespace vantry
