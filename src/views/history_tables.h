// Where the rows of the history come from: the tables of a program that runs, or their files read from outside.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/status.h"
#include "database/row_view.h"
#include "database/schema.h"

namespace vantry {

enum class HistoryTable : uint8_t { kVisits, kVisitor, kReferrers, kPageViews, kDownloads, kDaySum };

inline const TableSchema& SchemaOf(HistoryTable table) {
  switch (table) {
    case HistoryTable::kVisits:
      return visits::Schema();
    case HistoryTable::kVisitor:
      return visitor::Schema();
    case HistoryTable::kReferrers:
      return referrers::Schema();
    case HistoryTable::kPageViews:
      return pages::Schema();
    case HistoryTable::kDownloads:
      return downloads::Schema();
    default:
      return day_sum::Schema();
  }
}

// A way through rows of a table, in steps: other work on the table may come between two steps.
class RowWalk {
 public:
  // Must leave the tables alone.
  using Take = std::function<void(const RowView& row)>;

  virtual ~RowWalk() = default;
  // Looks at about `rows` more rows. After a failure the walk has ended.
  virtual Status Step(size_t rows, const Take& take) = 0;
  bool Ended() const { return ended_; }

 protected:
  bool ended_ = false;
};

class HistoryTables {
 public:
  virtual ~HistoryTables() = default;
  // The rows whose key begins with these values of its first parts, in the key's order. `key` is its place in the
  // schema.
  virtual std::unique_ptr<RowWalk> InOrder(HistoryTable table, size_t key, std::vector<std::string> begin) = 0;
  // All rows, in the order in which they were added: much quicker where many rows are wanted and their order is not.
  virtual std::unique_ptr<RowWalk> All(HistoryTable table) = 0;
};

// The history as the windows of the program that keeps it see it.
class ProgramHistory : public HistoryTables {
 public:
  // A referrer of this site is known from now on without being listed, or is forgotten.
  virtual Status ExcludeReferrer(const std::string& name, const std::string& site) = 0;
  virtual Status DeleteReferrer(const std::string& name, const std::string& site) = 0;
};

}  // namespace vantry
