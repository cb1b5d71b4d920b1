#include "database/table.h"

#include <algorithm>
#include <cstring>

#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kRecordNo = "RecordNo";
constexpr int kRecordNoDigits = 9;
constexpr uint32_t kLastRecord = 999'999'999;
constexpr uint32_t kAlmostFull = 990'000'000;

// Keys that may occur more than once end in the row's number, highest byte first, so that equal keys are in the order
// of their rows.
constexpr size_t kRowNumberBytes = 4;

void AppendRowNumber(uint32_t number, std::string& key) {
  for (int shift = 24; shift >= 0; shift -= 8) key.push_back(static_cast<char>(number >> shift & 0xFF));
}

std::string_view TrimEnd(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

Table::~Table() {
  connection_.Detach(*this);
}

int Table::Failed(Status status) {
  problem_ = std::move(status.text);
  return Done(kFailed);
}

void Table::CreateTable(const std::string& folder, OpenMode mode, const std::vector<std::string>& fields,
                        const std::vector<std::string>& keys, const std::vector<std::string>& other_fields) {
  if (IsOpen()) {
    Done(kOk);
    return;
  }
  Status status = connection_.Open(folder);
  if (status.ok()) status = OpenFile(folder, mode, fields, other_fields);
  if (status.ok()) status = ReadKeys(keys);
  if (status.ok()) {
    status = OpenIndex();
    if (status.fail == Fail::kBadData) {
      status = connection_.BuildAnew();
      if (status.ok()) status = OpenIndex();
    }
  }
  if (!status.ok()) {
    file_.Close();
    keys_.clear();
    const bool missing = status.fail == Fail::kNotFound;
    Failed(std::move(status));
    if (missing) Done(kNotFound);
    return;
  }
  connection_.Attach(*this);
  row_.assign(file_.Layout().row_bytes, ' ');
  old_row_ = row_;
  current_ = 0;
  selected_ = 0;
  missing_.clear();
  absent_.clear();
  first_rows_.Clear();
  if (next_record_ > kAlmostFull)
    connection_.Tell(name_ + " is almost full: it stops at " + std::to_string(kLastRecord) + " records.");
  Done(kOk);
}

Status Table::OpenFile(const std::string& folder, OpenMode mode, const std::vector<std::string>& fields,
                       const std::vector<std::string>& other_fields) {
  mode_ = mode;
  RowLayout wanted, other;
  if (Status status = ParseFields(fields, wanted); !status.ok()) return status;
  if (Status status = ParseFields(other_fields, other); !status.ok()) return status;
  std::string repair;
  const OpenFor purpose = mode == kReadOnly ? OpenFor::kReading : OpenFor::kCreating;
  Status status = file_.Open(folder + name_ + ".DBF", purpose, wanted, connection_.Today(), repair);
  if (!status.ok()) return status;
  // A table that we may not repair can't be trusted if rows are missing.
  if (!repair.empty() && mode == kReadOnly) return Status::Error(Fail::kBadData, file_.Path() + ": " + repair);
  if (!repair.empty()) connection_.Tell(file_.Path() + ": " + repair + "; it was put right.");
  RowLayout found = file_.Layout();
  if (mode == kReadOnly) {
    // In any order, and there may be others.
    std::erase_if(wanted.fields, [&](const TableField& f) {
      const auto place = found.Find(f.name);
      return place && found.fields[*place].type == f.type && found.fields[*place].width == f.width;
    });
    if (!wanted.fields.empty()) {
      return Status::Error(Fail::kBadData, file_.Path() + " has no text field " + wanted.fields.front().name + " of " +
                                               std::to_string(wanted.fields.front().width) + " bytes");
    }
  } else if (const std::string difference = FirstDifference(wanted, found);
             !difference.empty() && !FirstDifference(other, found).empty()) {
    return Status::Error(Fail::kBadData, file_.Path() + " is not the table that Vantry writes: " + difference +
                                             ". Move it away, and a new one is made");
  }
  record_field_ = found.Find(kRecordNo);
  for (const RedoRow& row : connection_.RedoOf(name_)) ApplyRedo(row.number, row.bytes);
  status = file_.WriteChangedRows();
  if (status.ok()) status = file_.Sync();
  if (status.ok()) connection_.DropRedo(name_);
  return status;
}

// Restores a row that was on its way when the program ended, if it is still the same record.
void Table::ApplyRedo(uint32_t number, std::string_view bytes) {
  std::string row(file_.Layout().row_bytes, ' ');
  if (bytes.size() != row.size() || !file_.Read(number, row.data()).ok()) return;
  const TableField& first = FieldAt(0);
  if (FieldText(first, row.data()) == FieldText(first, bytes.data())) file_.Rewrite(number, bytes.data());
}

Status Table::ReadKeys(const std::vector<std::string>& keys) {
  keys_.clear();
  key_texts_.clear();
  for (const std::string& text : keys) {
    TableKey& key = keys_.emplace_back();
    if (Status status = ParseKey(text, file_.Layout(), key.declaration); !status.ok()) return status;
    key.always_new = record_field_ && Contains(Upper(text), Upper(kRecordNo));
    key_texts_ += (key_texts_.empty() ? "" : "; ") + text;
  }
  return keys_.empty() ? Status::Error(Fail::kBadData, name_ + ": a table needs a key") : Status::Ok();
}

Status Table::OpenIndex() {
  const TableStamp* stamp = connection_.StampOf(name_);
  next_record_ = stamp ? stamp->next_record : 1;
  const bool doubtful = mode_ == kReadWrite && connection_.MayHaveHoles(name_);
  durable_rows_ = !doubtful ? file_.Rows() : stamp ? stamp->rows : 0;
  return stamp && IndexFits(*stamp) ? OpenTrees() : BuildIndex();
}

bool Table::IndexFits(const TableStamp& stamp) const {
  FileIdentity identity;
  return stamp.fits && stamp.keys == key_texts_ && stamp.rows == file_.Rows() && file_.Identify(identity).ok() &&
         identity == stamp.file;
}

Status Table::OpenTrees() {
  for (TableKey& key : keys_) {
    const KeyDeclaration& d = key.declaration;
    const size_t bytes = d.expression.KeyBytes() + (d.unique ? 0 : kRowNumberBytes);
    if (Status status = connection_.Index().OpenTree(name_ + "." + d.name, bytes, key.tree); !status.ok()) {
      return status;
    }
  }
  return Status::Ok();
}

TableStamp Table::Stamp() const {
  TableStamp stamp{name_, !Changed(), durable_rows_, next_record_, {}, key_texts_};
  if (!Changed()) stamp.rows = file_.Rows();
  // The index has nothing of what another program did to the table.
  stamp.fits = stamp.fits && file_.Ours() && file_.Identify(stamp.file).ok();
  return stamp;
}

Status Table::BuildIndex() {
  if (Status status = connection_.BeforeBuild(Stamp()); !status.ok()) return status;
  if (Status status = OpenTrees(); !status.ok()) return status;
  for (const TableKey& key : keys_) {
    if (Status status = connection_.Index().EmptyTree(key.tree); !status.ok()) return status;
  }
  if (file_.Rows() > 0) {
    connection_.Tell("The index of " + name_ + " is built anew from " + std::to_string(file_.Rows()) + " rows.");
  }
  connection_.Index().SetBatch(IndexFile::kBigBatch);
  Status status;
  uint32_t torn = 0;
  std::string rows;
  for (uint32_t first = 1; status.ok() && first <= file_.Rows();) {
    status = file_.ReadRows(first, UINT32_MAX, rows);
    if (status.ok()) first = IndexRows(first, rows, torn);
    // Not all the rows of a table fit into the memory when the index takes none.
    if (status.ok() && !connection_.Index().HasRoom()) status = connection_.Index().Commit(false);
  }
  if (status.ok()) status = connection_.Index().Commit(false);
  connection_.Index().SetBatch(IndexFile::kBatch);
  if (torn > 0) {
    connection_.Tell(file_.Path() + ": " + std::to_string(torn) +
                     " rows were cut when the machine stopped; they are marked as deleted.");
  }
  return status;
}

// Returns the row behind these.
uint32_t Table::IndexRows(uint32_t first, std::string& rows, uint32_t& torn) {
  const size_t row_bytes = file_.Layout().row_bytes;
  for (size_t at = 0; at < rows.size(); at += row_bytes, ++first) {
    char* row = rows.data() + at;
    if (first > durable_rows_ && HasHole({row, row_bytes})) {
      std::memset(row, ' ', row_bytes);
      row[0] = dbf::kDeleted;
      file_.Rewrite(first, row);
      ++torn;
    }
    if (record_field_) {
      const int64_t record = WholeNumber(Trim(FieldText(FieldAt(*record_field_), row))).value_or(0);
      if (record >= next_record_ && record <= kLastRecord) next_record_ = static_cast<uint32_t>(record) + 1;
    }
    if (row[0] != dbf::kLiving) continue;
    for (const TableKey& key : keys_) {
      StoredKey(key, row, first, scratch_);
      connection_.Index().Set(key.tree, scratch_, first);
    }
  }
  return first;
}

void Table::CloseTable() {
  if (!IsOpen()) return;
  Flush();
  connection_.Detach(*this);
  file_.Close();
  keys_.clear();
  current_ = 0;
}

void Table::StoredText(const TableKey& key, std::string_view text, std::string& stored) const {
  stored.assign(text);
  // Descending order is ascending order of the complements.
  if (key.declaration.descending)
    std::transform(stored.begin(), stored.end(), stored.begin(), [](char c) { return ~c; });
}

void Table::StoredKey(const TableKey& key, const char* row, uint32_t number, std::string& stored) const {
  stored.clear();
  key.declaration.expression.AppendKey(row, stored);
  if (key.declaration.descending)
    std::transform(stored.begin(), stored.end(), stored.begin(), [](char c) { return ~c; });
  if (!key.declaration.unique) AppendRowNumber(number, stored);
}

Status Table::ReadRows(uint32_t first, uint32_t count, std::string& bytes) const {
  if (!IsOpen()) return Status::Error(Fail::kIo, name_ + " is not open");
  return file_.ReadRows(first, count, bytes);
}

void Table::ClearRecord() {
  std::fill(row_.begin(), row_.end(), ' ');
}

std::string_view Table::Text(size_t field) const {
  return TrimEnd(FieldText(FieldAt(field), row_.data()));
}

std::string_view Table::FieldValue(std::string_view name) const {
  const auto place = file_.Layout().Find(name);
  return place ? Text(*place) : std::string_view();
}

// kNotFound when no record has this key.
Status Table::FindTaken(const TableKey& key, const std::string& stored) {
  const bool looked_for = &key == keys_.data() && stored == missing_;
  if (!key.declaration.unique || key.always_new || looked_for) return Status::Error(Fail::kNotFound, "");
  return connection_.Index().Find(key.tree, Seek::kEqual, stored, found_);
}

int Table::Insert() {
  if (!IsOpen() || mode_ == kReadOnly) return Failed(Status::Error(Fail::kIo, name_ + " is not open for writing"));
  if (next_record_ > kLastRecord) return Done(kNoRoom);
  if (!file_.HasRoom() || !connection_.Index().HasRoom()) {
    ++lost_rows_;
    return Done(kNoRoom);
  }
  row_[0] = dbf::kLiving;
  BlankNuls(row_.data(), row_.size());
  if (record_field_) SetText(*record_field_, PadNumber(next_record_, kRecordNoDigits));
  for (TableKey& key : keys_) {
    StoredKey(key, row_.data(), file_.Rows() + 1, key.stored);
    Status taken = FindTaken(key, key.stored);
    if (taken.fail != Fail::kNotFound) return taken.ok() ? Done(kDuplicate) : Failed(std::move(taken));
  }
  connection_.BeforeChange();
  if (++next_record_ == kAlmostFull)
    connection_.Tell(name_ + " is almost full: it stops at " + std::to_string(kLastRecord) + " records.");
  current_ = file_.Append(row_.data());
  old_row_ = row_;
  for (const TableKey& key : keys_) connection_.Index().Set(key.tree, key.stored, current_);
  position_ = keys_[selected_].stored;
  first_rows_.Forget(keys_[0].stored);
  if (!absent_.empty() && StartsWith(keys_[0].stored, absent_)) first_rows_.Set(absent_, current_);
  missing_.clear();
  absent_.clear();
  if (file_.WantsWriting() && !connection_.Held()) TellFailure(file_.WriteNewRows(connection_.Today()));
  return Done(kOk);
}

int Table::Update() {
  if (!IsOpen() || mode_ == kReadOnly) return Failed(Status::Error(Fail::kIo, name_ + " is not open for writing"));
  if (current_ == 0) return Done(kNotFound);
  if (!file_.HasRoom() || !connection_.Index().HasRoom()) return Done(kNoRoom);
  BlankNuls(row_.data(), row_.size());
  if (record_field_) SetText(*record_field_, FieldText(FieldAt(*record_field_), old_row_.data()));
  for (TableKey& key : keys_) {
    StoredKey(key, old_row_.data(), current_, key.replaced);
    StoredKey(key, row_.data(), current_, key.stored);
    if (key.stored == key.replaced) continue;
    Status taken = FindTaken(key, key.stored);
    if (taken.fail != Fail::kNotFound) return taken.ok() ? Done(kDuplicate) : Failed(std::move(taken));
  }
  connection_.BeforeChange();
  missing_.clear();
  absent_.clear();
  for (const TableKey& key : keys_) {
    if (key.stored == key.replaced) continue;
    connection_.Index().Erase(key.tree, key.replaced);
    connection_.Index().Set(key.tree, key.stored, current_);
  }
  if (const TableKey& first = keys_.front(); first.stored != first.replaced) {
    first_rows_.Forget(first.replaced);
    first_rows_.Forget(first.stored);
  }
  position_ = keys_[selected_].stored;
  Rewrite();
  return Done(kOk);
}

int Table::Delete() {
  if (!IsOpen() || mode_ == kReadOnly) return Failed(Status::Error(Fail::kIo, name_ + " is not open for writing"));
  if (current_ == 0) return Done(kNotFound);
  connection_.BeforeChange();
  missing_.clear();
  absent_.clear();
  for (const TableKey& key : keys_) {
    StoredKey(key, old_row_.data(), current_, scratch_);
    connection_.Index().Erase(key.tree, scratch_);
    if (&key == keys_.data()) first_rows_.Forget(scratch_);
  }
  row_ = old_row_;
  row_[0] = dbf::kDeleted;
  Rewrite();
  current_ = 0;
  return Done(kOk);
}

// Too many changed rows are written at once; after a failure, only when as many again have come.
void Table::Rewrite() {
  old_row_ = row_;
  file_.Rewrite(current_, row_.data());
  const size_t waiting = file_.Rewritten().Count();
  if (waiting < changed_limit_) return;
  TellFailure(connection_.WriteChangedRows(*this));
  changed_limit_ = file_.Rewritten().Count() + DbfFile::kMaxChangedRows;
}

bool Table::AddRows(std::string_view rows) {
  bool all = true;
  for (const size_t bytes = row_.size(); IsOpen() && rows.size() >= bytes; rows.remove_prefix(bytes)) {
    row_ = rows.substr(0, bytes);
    if (row_[0] != dbf::kLiving) continue;
    const int result = Insert();
    all = all && (result == kOk || result == kDuplicate);
  }
  return all && IsOpen();
}

void Table::TellFailure(const Status& status) {
  if (!status.ok()) connection_.Complain(status.text + ". What was not written waits in memory and is tried again.");
}

int Table::Flush() {
  Table* const self = this;
  Status status = connection_.Flush({&self, 1});
  return status.ok() ? Done(kOk) : Failed(std::move(status));
}

void Table::HasFlushed() {
  durable_rows_ = file_.Rows();
  changed_limit_ = DbfFile::kMaxChangedRows;
  if (lost_rows_ == 0) return;
  connection_.Tell(name_ + " takes rows again; " + std::to_string(lost_rows_) + " rows were lost meanwhile.");
  lost_rows_ = 0;
}

}  // namespace vantry
