// What the tables of one folder share: their index, the stamp that tells whether the index fits, and the order in which
// changes reach the disk.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/date_time.h"
#include "core/status.h"
#include "database/index_file.h"
#include "database/index_stamp.h"
#include "database/redo_file.h"
#include "ports/data_files.h"
#include "ports/index_store.h"

namespace vantry {

class Table;

class TableConnection {
 public:
  // File names in the data folder.
  static constexpr std::string_view kIndexName = "Vantry.idx", kStampName = "Vantry.stamp", kRedoName = "Vantry.redo";

  struct Outlets {
    std::function<Day()> today;                           // For the tables' date of last update.
    std::function<void(std::string_view text)> tell;      // What an operator should know: a repair, a rebuilt index.
    std::function<void(std::string_view text)> complain;  // What an operator should put right.
  };

  TableConnection(DataFiles& files, IndexStore& store, Outlets outlets)
      : files_(files), out_(std::move(outlets)), index_(store) {}
  ~TableConnection();

  // Opens the index of this folder ("/" at its end), or rebuilds it if its stamp does not fit. Does nothing if it is
  // open.
  Status Open(const std::string& folder);
  bool IsOpen() const { return stamp_file_ != nullptr; }
  // Writes the stamp. Tables are closed before. `whole` tells that no row is missing; otherwise the stamp stays open,
  // so that the next start knows that lines are read again whose rows may be here.
  void Close(bool whole = true);

  DataFiles& Files() { return files_; }
  IndexFile& Index() { return index_; }
  Day Today() const { return out_.today(); }
  void Tell(std::string_view text) const { out_.tell(text); }
  void Complain(std::string_view text) const { out_.complain(text); }

  // Tables that are open.
  void Attach(Table& table);
  void Detach(Table& table);
  // What the stamp says about a table; null for one that it does not know.
  const TableStamp* StampOf(const std::string& table) const;
  // Whether rows of this table may be holes: the program or the machine stopped before they were durable.
  bool MayHaveHoles(const std::string& table) const;
  // Changed rows of this table that may have been cut in two then; until DropRedo, when they are in the table for good.
  // They hold until the redo file is written next.
  std::vector<RedoRow> RedoOf(std::string_view table) const;
  void DropRedo(std::string_view table);

  // To be called before a change: a stamp that no longer fits must not be found by the next start. If the disk does
  // not take that, changes are held in memory only until a Flush succeeds.
  void BeforeChange();
  bool Held() const { return held_; }
  // The same before the index of a table is built; the stamp on the disk then has this line of it.
  Status BeforeBuild(TableStamp line);

  // Makes the rows of these tables durable in this order, then the index: a part of it at each call, where much of it
  // waits. Goes on with the next table after a failure; the first one is returned. What could not be written waits for
  // the next call.
  Status Flush(std::span<Table* const> tables);

  // Gives the rows of these tables to the system: they survive the end of the program from then on, and other programs
  // see them; a loss of power may take them until the next Flush. Waits for the disk only for changed rows.
  Status WriteOut(std::span<Table* const> tables);

  // kRefused when another program has changed or replaced one of these tables.
  static Status CheckOurs(std::span<Table* const> tables);

  // Writes the changed rows of this table over the old ones, durably; flushes only this table.
  Status WriteChangedRows(Table& table);

  // The index was found damaged: rebuilds it for all attached tables. After a failure the index is closed, and Open and
  // Flush try again.
  Status BuildAnew();

 private:
  std::string IndexPath() const { return folder_ + std::string(kIndexName); }
  Status CheckIndexName() const;
  Status OpenStamp();
  Status ReadStamp(bool& trusted);
  Status ReadRedo();
  Status OpenIndex(bool trusted);
  TableStamp& StampLine(const std::string& table);
  Status WriteRedo(std::span<Table* const> tables);
  Status FinishRedo();
  Status WriteStamp(bool closed);

  DataFiles& files_;
  Outlets out_;
  IndexFile index_;
  std::string folder_;
  std::unique_ptr<DataFile> stamp_file_, redo_file_;
  IndexStamp stamp_;     // As it was found, or written last.
  bool closed_ = false;  // The stamp on the disk says so.
  bool held_ = false;
  bool whole_ = true;                // The index has all keys of the open tables, as far as they do not wait.
  uint64_t index_inode_ = 0;         // Of the file that is open.
  std::optional<IndexStamp> found_;  // As it was at opening.
  std::string redo_;                 // What is in the redo file.
  std::set<std::string, std::less<>> redo_tables_;  // Whose rows of it are on their way.
  std::vector<Table*> tables_;
};

}  // namespace vantry
