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
  if (IsOpen()) return Status::Ok();
  folder_ = folder;
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
  std::string bytes;
  if (Status status = ReadAll(*stamp_file_, bytes); !status.ok()) return status;
  const std::optional<IndexStamp> found = ParseStamp(bytes);
  stamp_ = found.value_or(IndexStamp{});
  after_crash_ = found && !found->closed;
  closed_ = stamp_.closed;
  FileIdentity index;
  trusted = closed_ && files_.Identify(folder_ + std::string(kIndexName), index).ok() && index == stamp_.index;
  return Status::Ok();
}

Status TableConnection::ReadRedo() {
  if (Status status = files_.Open(folder_ + std::string(kRedoName), OpenFor::kCreating, redo_file_); !status.ok()) {
    return status;
  }
  std::string bytes;
  if (Status status = ReadAll(*redo_file_, bytes); !status.ok()) return status;
  redo_.clear();
  // Once the stamp is closed, all that stood in this file is in the tables.
  if (!closed_) redo_ = ParseRedo(bytes).value_or(std::vector<RedoRow>());
  return Status::Ok();
}

Status TableConnection::OpenIndex(bool trusted) {
  const std::string path = folder_ + std::string(kIndexName);
  Status status;
  if (trusted) {
    status = index_.Open(path);
    if (status.ok() || status.fail != Fail::kBadData) return status;
  }
  // From here on the stamp must not vouch for the index, whatever happens.
  for (TableStamp& table : stamp_.tables) table.fits = false;
  stamp_.closed = closed_ = false;
  const std::string text = BuildStamp(stamp_);
  status = stamp_file_->WriteAt(0, text);
  if (status.ok()) status = stamp_file_->Truncate(static_cast<int64_t>(text.size()));
  if (status.ok()) status = stamp_file_->Sync();
  if (status.ok()) status = files_.Remove(path);
  if (status.ok()) status = index_.Open(path);
  return status;
}

void TableConnection::Close() {
  if (!IsOpen()) return;
  // What fails here costs nothing but an index to build at the next start.
  if (index_.Commit(true).ok() && WriteStamp().ok() && stamp_file_->Sync().ok()) (void)redo_file_->Truncate(0);
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

std::vector<RedoRow> TableConnection::TakeRedo(const std::string& table) {
  std::vector<RedoRow> taken;
  for (RedoRow& row : redo_) {
    if (row.table == table) taken.push_back(std::move(row));
  }
  std::erase_if(redo_, [](const RedoRow& row) { return row.table.empty(); });
  return taken;
}

Status TableConnection::BeforeChange() {
  if (!closed_) return Status::Ok();
  Status status = stamp_file_->WriteAt(kStampStatePlace, kStampOpen);
  if (status.ok()) status = stamp_file_->Sync();
  if (status.ok()) closed_ = false;
  return status;
}

Status TableConnection::Flush(std::span<Table* const> tables) {
  const bool changed = std::any_of(tables.begin(), tables.end(), [](const Table* t) { return t->Changed(); });
  if (!IsOpen() || (!changed && !index_.Changed())) return Status::Ok();
  FirstFailure failure;
  const bool redo = failure.Keep(WriteRedo(tables));
  for (Table* table : tables) {
    if (!table->Changed()) continue;
    failure.Keep(table->file_.CheckName());
    const bool rewritten = redo && failure.Keep(table->file_.WriteChangedRows());
    const bool added = failure.Keep(table->file_.WriteNewRows(Today()));
    if (failure.Keep(table->file_.Sync()) && rewritten && added) table->HasFlushed();
  }
  if (index_.Changed()) {
    Status status = index_.Commit(true);
    if (status.fail == Fail::kBadData) status = BuildAnew();
    failure.Keep(std::move(status));
  }
  if (!index_.Changed()) failure.Keep(WriteStamp());
  return failure.Take();
}

// A redo file of the next rows takes the place of this one, so these rows must be durable before.
Status TableConnection::WriteChangedRows(Table& table) {
  Table* const one = &table;
  Status status = WriteRedo({&one, 1});
  if (status.ok()) status = table.file_.WriteChangedRows();
  if (status.ok()) status = table.file_.Sync();
  return status;
}

Status TableConnection::WriteRedo(std::span<Table* const> tables) {
  std::vector<RedoRow> rows;
  for (const Table* table : tables) {
    for (const auto& [number, bytes] : table->file_.ChangedRows()) rows.push_back({table->Name(), number, bytes});
  }
  if (rows.empty()) return Status::Ok();
  if (Status status = redo_file_->WriteAt(0, BuildRedo(rows)); !status.ok()) return status;
  return redo_file_->Sync();
}

Status TableConnection::WriteStamp() {
  for (const Table* table : tables_) StampLine(table->Name()) = table->Stamp();
  stamp_.closed = true;
  if (Status status = files_.Identify(folder_ + std::string(kIndexName), stamp_.index); !status.ok()) return status;
  const std::string text = BuildStamp(stamp_);
  Status status = stamp_file_->WriteAt(0, text);
  if (status.ok()) status = stamp_file_->Truncate(static_cast<int64_t>(text.size()));
  if (status.ok()) closed_ = true;
  return status;
}

Status TableConnection::BuildAnew() {
  Tell("The index " + folder_ + std::string(kIndexName) + " is damaged and is built anew.");
  if (Status status = BeforeChange(); !status.ok()) return status;
  index_.Close();
  if (Status status = OpenIndex(false); !status.ok()) return status;
  FirstFailure failure;
  for (Table* table : tables_) failure.Keep(table->BuildIndex());
  return failure.Take();
}

}  // namespace vantry
