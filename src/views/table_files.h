// The history's table files, read by another program than the one that writes them: without its index, and without a
// lock or a change of any file. What the writer still holds in memory is not seen.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ports/data_files.h"
#include "views/history_tables.h"

namespace vantry {

class TableFiles final : public HistoryTables {
 public:
  // `folder` has "/" at its end.
  TableFiles(DataFiles& files, std::string folder) : files_(files), folder_(std::move(folder)) {}

  std::unique_ptr<RowWalk> InOrder(HistoryTable table, size_t key, std::vector<std::string> begin) override;
  std::unique_ptr<RowWalk> All(HistoryTable table) override;

 private:
  DataFiles& files_;
  std::string folder_;
};

}  // namespace vantry
