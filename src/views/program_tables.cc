#include "views/program_tables.h"

#include <utility>

#include "views/row_blocks.h"

namespace vantry {
namespace {

Table& TableOf(VisitDatabase& database, HistoryTable table) {
  switch (table) {
    case HistoryTable::kVisits:
      return database.VAVISITS;
    case HistoryTable::kVisitor:
      return database.VAVIS;
    case HistoryTable::kReferrers:
      return database.VAREF;
    case HistoryTable::kPageViews:
      return database.VAPG;
    case HistoryTable::kDownloads:
      return database.VADL;
    default:
      return database.VADAY;
  }
}

Status NotOpen() {
  return Status::Error(Fail::kIo, "The history is not open.");
}

class OrderedWalk final : public RowWalk {
 public:
  OrderedWalk(VisitDatabase& database, HistoryTable table, size_t key, std::vector<std::string> begin)
      : database_(database), table_(TableOf(database, table)), key_(key), begin_(std::move(begin)) {}

  Status Step(size_t rows, const Take& take) override {
    if (ended_) return Status::Ok();
    ended_ = true;
    if (!database_.DatabaseReady()) return NotOpen();
    table_.SelectKey(key_);
    const std::vector<std::string_view> parts(begin_.begin(), begin_.end());
    const std::string begin(table_.Key(parts));
    int found = Table::kOk;
    for (; rows > 0 && found == Table::kOk; --rows) {
      found = position_.empty() ? table_.FindBeginning(begin) : table_.NextBeginning(begin, position_);
      if (found != Table::kOk) break;
      position_ = table_.Position();
      take(table_.Row());
    }
    // Searches of the engine go by the first key.
    table_.SelectKey(0);
    ended_ = found != Table::kOk;
    return found < 0 ? Status::Error(Fail::kIo, table_.Problem()) : Status::Ok();
  }

 private:
  VisitDatabase& database_;
  Table& table_;
  size_t key_;
  std::vector<std::string> begin_;
  std::string position_;  // Of the last row; empty before the first.
};

class WholeWalk final : public RowWalk {
 public:
  WholeWalk(VisitDatabase& database, HistoryTable table) : database_(database), table_(TableOf(database, table)) {}

  Status Step(size_t rows, const Take& take) override {
    if (ended_) return Status::Ok();
    ended_ = true;
    if (!database_.DatabaseReady()) return NotOpen();
    bool more = false;
    const Status status = blocks_.Read(table_, rows, take, more);
    ended_ = !more;
    return status;
  }

 private:
  VisitDatabase& database_;
  Table& table_;
  RowBlocks blocks_;
};

}  // namespace

std::unique_ptr<RowWalk> ProgramTables::InOrder(HistoryTable table, size_t key, std::vector<std::string> begin) {
  return std::make_unique<OrderedWalk>(database_, table, key, std::move(begin));
}

std::unique_ptr<RowWalk> ProgramTables::All(HistoryTable table) {
  return std::make_unique<WholeWalk>(database_, table);
}

}  // namespace vantry
