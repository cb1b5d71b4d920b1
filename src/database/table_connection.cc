#include "database/table_connection.h"

#include <algorithm>

#include "database/table.h"

namespace vantry {
namespace {

// The whole of a small file.
Status ReadAll(DataFile& file, std::string& bytes) {
  FileIdentity identity;
  if (Status status = file.Identify(identity); !status.ok()) return status;
  bytes.resize(static_cast<size_t>(identity.size_bytes));
  size_t count = 0;
  Status status = file.ReadAt(0, bytes, count);
  bytes.resize(count);
  return status;
}

// Keeps the first of several failures.
class FirstFailure {
 public:
  bool Keep(Status status) {
    const bool ok = status.ok();
    if (!ok && first_.ok()) first_ = std::move(status);
    return ok;
  }
  Status Take() { return std::move(first_); }

 private:
  Status first_;
};

}  // namespace

TableConnection::~TableConnection() {
  index_.Close();
}

Status TableConnection::Open(const std::string& folder) {
  if (IsOpen()) return whole_ ? Status::Ok() : BuildAnew();
  folder_ = folder;
  whole_ = true;
  held_ = false;
  bool trusted = false;
  Status status = ReadStamp(trusted);
  if (status.ok()) status = ReadRedo();
  if (status.ok()) status = OpenIndex(trusted);
  if (!status.ok()) {
    index_.Close();
    stamp_file_.reset();
    redo_file_.reset();
  }
  return status;
}

Status TableConnection::ReadStamp(bool& trusted) {
  if (Status status = files_.Open(folder_ + std::string(kStampName), OpenFor::kCreating, stamp_file_); !status.ok()) {
    return status;
  }
  std::string bytes(2 * kStampPlaceBytes, '\0');
  size_t count = 0;
  if (Status status = stamp_file_->ReadAt(0, bytes, count); !status.ok()) return status;
  found_ = ParseStampFile(std::string_view(bytes).substr(0, count));
  stamp_ = found_.value_or(IndexStamp{});
  closed_ = stamp_.closed;
  FileIdentity index;
  trusted = closed_ && files_.Identify(IndexPath(), index).ok() && index == stamp_.index;
  return Status::Ok();
}

Status TableConnection::ReadRedo() {
  if (Status status = files_.Open(folder_ + std::string(kRedoName), OpenFor::kCreating, redo_file_); !status.ok()) {
    return status;
  }
  redo_tables_.clear();
  if (Status status = ReadAll(*redo_file_, redo_); !status.ok()) return status;
  // Once the stamp is closed, all that was in this file is in the tables.
  if (closed_) redo_.clear();
  for (const RedoRow& row : ParseRedo(redo_).value_or(std::vector<RedoRow>())) redo_tables_.emplace(row.table);
  return Status::Ok();
}

Status TableConnection::OpenIndex(bool trusted) {
  Status status;
  if (trusted) status = index_.Open(IndexPath());
  if (!trusted || status.fail == Fail::kBadData) {
    // From here on the stamp must not vouch for the index, whatever happens.
    for (TableStamp& table : stamp_.tables) table.fits = false;
    status = WriteStamp(false);
    if (status.ok()) status = files_.Remove(IndexPath());
    if (status.ok()) status = index_.Open(IndexPath());
  }
  FileIdentity index;
  if (status.ok()) status = files_.Identify(IndexPath(), index);
  index_inode_ = index.inode;
  return status;
}

void TableConnection::Close(bool whole) {
  if (!IsOpen()) return;
  // A failure here only costs building the index at the next start.
  const bool written = index_.Commit(true).ok() && (whole ? WriteStamp(true) : OpenStamp()).ok();
  if (written && closed_ && stamp_file_->Sync().ok()) (void)redo_file_->Truncate(0);
  index_.Close();
  stamp_file_.reset();
  redo_file_.reset();
}

void TableConnection::Attach(Table& table) {
  tables_.push_back(&table);
}

void TableConnection::Detach(Table& table) {
  const auto place = std::find(tables_.begin(), tables_.end(), &table);
  if (place == tables_.end()) return;
  StampLine(table.Name()) = table.Stamp();
  tables_.erase(place);
}

const TableStamp* TableConnection::StampOf(const std::string& table) const {
  return stamp_.Find(table);
}

TableStamp& TableConnection::StampLine(const std::string& table) {
  for (TableStamp& line : stamp_.tables) {
    if (line.name == table) return line;
  }
  return stamp_.tables.emplace_back();
}

bool TableConnection::MayHaveHoles(const std::string& table) const {
  if (!found_ || !found_->closed) return found_.has_value();
  const TableStamp* line = found_->Find(table);
  return line && !line->fits;
}

std::vector<RedoRow> TableConnection::RedoOf(std::string_view table) const {
  if (!redo_tables_.contains(table)) return {};
  std::vector<RedoRow> rows = ParseRedo(redo_).value_or(std::vector<RedoRow>());
  std::erase_if(rows, [&](const RedoRow& row) { return row.table != table; });
  return rows;
}

void TableConnection::DropRedo(std::string_view table) {
  if (const auto found = redo_tables_.find(table); found != redo_tables_.end()) redo_tables_.erase(found);
  if (redo_tables_.empty()) std::string().swap(redo_);  // Gives megabytes back.
}

void TableConnection::BeforeChange() {
  if (!closed_ || held_) return;
  const Status status = OpenStamp();
  if (status.ok()) return;
  held_ = true;
  index_.Hold(true);
  Complain(status.text + ". What was not written waits in memory and is tried again.");
}

Status TableConnection::OpenStamp() {
  if (!closed_) return Status::Ok();
  Status status = stamp_file_->WriteAt(StampPlace(stamp_.turn) + int64_t{kStampStatePlace}, kStampOpen);
  if (status.ok()) status = stamp_file_->Sync();
  if (!status.ok()) return status;
  closed_ = held_ = false;
  index_.Hold(false);
  return status;
}

Status TableConnection::BeforeBuild(TableStamp line) {
  line.fits = false;
  const std::string table = line.name;
  StampLine(table) = std::move(line);
  return WriteStamp(false);
}

Status TableConnection::Flush(std::span<Table* const> tables) {
  const bool changed = std::any_of(tables.begin(), tables.end(), [](const Table* t) { return t->Changed(); });
  if (!IsOpen() || (!changed && !index_.Changed() && whole_)) return Status::Ok();
  if (Status status = OpenStamp(); !status.ok()) return status;
  FirstFailure failure;
  std::vector<Table*> ours;
  for (Table* table : tables) {
    if (table->Changed() && (failure.Keep(table->file_.CheckOurs()) || table->file_.Ours())) ours.push_back(table);
  }
  const bool redo = failure.Keep(WriteRedo(ours));
  for (Table* table : ours) {
    const bool rewritten = redo && failure.Keep(table->file_.WriteChangedRows());
    const bool added = failure.Keep(table->file_.WriteNewRows(Today()));
    const bool synced = failure.Keep(table->file_.Sync());
    if (synced && rewritten) DropRedo(table->Name());
    if (synced && rewritten && added) table->HasFlushed();
  }
  // A start after a kill builds the index anew until all of it is there.
  if (whole_ && !index_.Settle()) return failure.Take();
  if (!whole_ || index_.Changed()) {
    Status status = whole_ ? index_.Commit(true) : BuildAnew();
    if (status.fail == Fail::kBadData) status = BuildAnew();
    failure.Keep(std::move(status));
  }
  if (whole_ && !index_.Changed()) failure.Keep(WriteStamp(true));
  return failure.Take();
}

Status TableConnection::CheckOurs(std::span<Table* const> tables) {
  for (const Table* table : tables) {
    if (Status status = table->file_.CheckOurs(); status.fail == Fail::kRefused) return status;
  }
  return Status::Ok();
}

Status TableConnection::CheckIndexName() const {
  FileIdentity named;
  if (Status status = files_.Identify(IndexPath(), named); !status.ok()) return status;
  if (named.inode == index_inode_) return Status::Ok();
  return Status::Error(Fail::kNotFound, IndexPath() + ": was replaced by another file while it was open");
}

Status TableConnection::WriteOut(std::span<Table* const> tables) {
  if (std::none_of(tables.begin(), tables.end(), [](const Table* t) { return t->file_.Waiting(); }))
    return Status::Ok();
  if (Status status = OpenStamp(); !status.ok()) return status;
  FirstFailure failure;
  for (Table* table : tables) {
    if (!table->file_.Waiting()) continue;
    failure.Keep(table->file_.CheckOurs());
    if (table->file_.Rewritten().Count() > 0) failure.Keep(WriteChangedRows(*table));
    failure.Keep(table->file_.WriteNewRows(Today()));
  }
  return failure.Take();
}

// A redo file of the next rows takes the place of this one, so these rows must be durable before.
Status TableConnection::WriteChangedRows(Table& table) {
  Table* const one = &table;
  Status status = table.file_.CheckOurs();
  if (status.fail == Fail::kRefused) return status;
  status = OpenStamp();
  if (status.ok()) status = WriteRedo({&one, 1});
  if (status.ok()) status = table.file_.WriteChangedRows();
  if (status.ok()) status = table.file_.Sync();
  if (status.ok()) DropRedo(table.Name());
  return status;
}

Status TableConnection::WriteRedo(std::span<Table* const> tables) {
  if (Status status = FinishRedo(); !status.ok()) return status;
  std::vector<RedoRow> rows;
  // Of tables that are not open.
  for (const std::string& table : redo_tables_) {
    for (const RedoRow& row : RedoOf(table)) rows.push_back(row);
  }
  const size_t before = rows.size();
  for (const Table* table : tables) {
    for (const ChangedRows::Row& row : table->file_.Rewritten().Sorted()) {
      rows.push_back({table->Name(), row.number, row.bytes});
    }
  }
  if (rows.size() == before) return Status::Ok();
  std::string redo = BuildRedo(rows);
  if (Status status = redo_file_->WriteAt(0, redo); !status.ok()) return status;
  if (Status status = redo_file_->Sync(); !status.ok()) return status;
  redo_ = std::move(redo);
  for (const Table* table : tables) {
    if (table->HasChangedRows()) redo_tables_.insert(table->Name());
  }
  return Status::Ok();
}

// Rows whose last writing failed may be half written in their tables, and this file is all that can make them whole:
// they come first.
Status TableConnection::FinishRedo() {
  for (Table* table : tables_) {
    const std::vector<RedoRow> rows = RedoOf(table->Name());
    Status status;
    for (auto row = rows.begin(); status.ok() && row != rows.end(); ++row) {
      status = table->file_.RestoreRow(row->number, row->bytes);
    }
    if (status.ok() && !rows.empty()) status = table->file_.Sync();
    // Rows of a table that is no longer ours have nowhere to go.
    if (!status.ok() && status.fail != Fail::kRefused) return status;
    DropRedo(table->Name());
  }
  return Status::Ok();
}

// A stamp says closed only while all rows are whole in their tables, and only of the index that is open.
Status TableConnection::WriteStamp(bool closed) {
  if (closed && !redo_tables_.empty()) return Status::Ok();
  // The other stamp must be safe on the disk while this one is written.
  if (Status status = OpenStamp(); !status.ok()) return status;
  for (const Table* table : tables_) StampLine(table->Name()) = table->Stamp();
  if (closed) {
    if (Status status = CheckIndexName(); !status.ok()) return status;
    if (Status status = files_.Identify(IndexPath(), stamp_.index); !status.ok()) return status;
  }
  stamp_.closed = closed;
  ++stamp_.turn;
  Status status = stamp_file_->WriteAt(StampPlace(stamp_.turn), BuildStamp(stamp_) + '\0');
  if (status.ok() && !closed) status = stamp_file_->Sync();
  if (status.ok()) {
    closed_ = closed;
  } else {
    --stamp_.turn;
  }
  return status;
}

Status TableConnection::BuildAnew() {
  Tell("The index " + IndexPath() + " is damaged and is built anew.");
  whole_ = false;
  index_.Close();
  FirstFailure failure;
  if (failure.Keep(OpenIndex(false))) {
    for (Table* table : tables_) failure.Keep(table->BuildIndex());
  }
  Status status = failure.Take();
  whole_ = status.ok();
  if (!whole_) index_.Close();
  return status;
}

}  // namespace vantry
