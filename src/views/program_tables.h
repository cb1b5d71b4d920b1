// The history of a program that runs, for its own window. Each step finds the place of the one before, so that the
// engine may write in between.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/visit_database.h"
#include "views/history_tables.h"

namespace vantry {

class ProgramTables final : public ProgramHistory {
 public:
  explicit ProgramTables(VisitDatabase& database) : database_(database) {}

  std::unique_ptr<RowWalk> InOrder(HistoryTable table, size_t key, std::vector<std::string> begin) override;
  std::unique_ptr<RowWalk> All(HistoryTable table) override;
  Status ExcludeReferrer(const std::string& name, const std::string& site) override {
    return database_.ExcludeReferrer(name, site);
  }
  Status DeleteReferrer(const std::string& name, const std::string& site) override {
    return database_.DeleteReferrer(name, site);
  }

 private:
  VisitDatabase& database_;
};

}  // namespace vantry
