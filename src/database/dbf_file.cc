#include "database/dbf_file.h"

#include <algorithm>
#include <cstring>

namespace vantry {
namespace {

constexpr uint32_t kRowsAtOnce = 4096;
constexpr size_t kWriteTogetherBytes = 64 * 1024;

// Whether `bytes` are a part of this empty table as it was built on some day, with zeros for what is missing: the
// program or the machine stopped while it was made, so there is no row in it.
bool NeverWhole(std::string_view bytes, std::string_view empty) {
  constexpr size_t kBehindDate = dbf::kDatePlace + 3;
  bool whole = bytes.size() == empty.size();
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i >= dbf::kDatePlace && i < kBehindDate) continue;
    if (i >= empty.size() || (bytes[i] != '\0' && bytes[i] != empty[i])) return false;
    whole = whole && bytes[i] == empty[i];
  }
  return !whole;
}

}  // namespace

Status DbfFile::Open(const std::string& path, OpenFor purpose, const RowLayout& layout, Day today,
                     std::string& repair) {
  Close();
  path_ = path;
  repair.clear();
  Status status = files_.Open(path, purpose, file_);
  FileIdentity identity;
  if (status.ok()) status = file_->Identify(identity);
  if (status.ok() && purpose == OpenFor::kCreating) {
    const std::string empty = BuildHeader(layout, today, 0) + dbf::kEndMark;
    std::string bytes(empty.size() + 1, '\0');
    size_t count = 0;
    status = file_->ReadAt(0, bytes, count);
    bytes.resize(count);
    if (status.ok() && NeverWhole(bytes, empty)) status = Create(empty);
    if (status.ok()) status = file_->Identify(identity);
  }
  if (status.ok()) status = ReadHeader();
  if (status.ok()) status = CountRows(identity.size_bytes, written_);
  if (status.ok() && written_ != header_.rows) {
    repair =
        "the header counts " + std::to_string(header_.rows) + " rows and the file holds " + std::to_string(written_);
  }
  if (status.ok()) Know();
  if (status.ok() && purpose != OpenFor::kReading) status = PutRight(identity.size_bytes, today);
  if (!status.ok()) Close();
  return status;
}

void DbfFile::Close() {
  file_.reset();
  header_ = {};
  written_ = 0;
  new_rows_.clear();
  changed_.Clear();
  stuck_ = unsynced_ = count_stale_ = false;
}

Status DbfFile::Create(const std::string& empty) {
  if (Status status = file_->WriteAt(0, empty); !status.ok()) return status;
  return file_->Sync();
}

Status DbfFile::ReadHeader() {
  std::string bytes(dbf::kMaxHeaderBytes, '\0');
  size_t count = 0;
  if (Status status = file_->ReadAt(0, bytes, count); !status.ok()) return status;
  Status status = ParseHeader(std::string_view(bytes).substr(0, count), header_);
  if (!status.ok()) status.text = path_ + " " + status.text;
  return status;
}

// The rows that the file has whatever its header says: rows beyond the count if they are whole and no end mark comes
// before them; none beyond the end of the file, and none at the end that do not begin as rows do.
Status DbfFile::CountRows(int64_t size_bytes, uint32_t& rows) const {
  const int64_t fit =
      std::max<int64_t>(0, size_bytes - static_cast<int64_t>(header_.header_bytes)) / static_cast<int64_t>(RowBytes());
  const auto whole = static_cast<uint32_t>(std::min<int64_t>(fit, kMaxRows));
  rows = std::min(header_.rows, whole);
  const auto first_byte = [&](uint32_t number, char& c) {
    size_t count = 0;
    return file_->ReadAt(PlaceOf(number), {&c, 1}, count);
  };
  char c = 0;
  for (uint32_t next = rows + 1; next <= whole && rows + 1 == next; ++next) {
    if (Status status = first_byte(next, c); !status.ok()) return status;
    if (StartsRow(c)) rows = next;
  }
  for (; rows > 0; --rows) {
    if (Status status = first_byte(rows, c); !status.ok()) return status;
    if (StartsRow(c)) break;
  }
  return Status::Ok();
}

Status DbfFile::PutRight(int64_t size_bytes, Day today) {
  const int64_t end = PlaceOf(written_ + 1);
  char mark = 0;
  size_t count = 0;
  if (Status status = file_->ReadAt(end, {&mark, 1}, count); !status.ok()) return status;
  if (written_ == header_.rows && size_bytes == end + 1 && mark == dbf::kEndMark) return Status::Ok();
  count_stale_ = true;
  return WriteOurs([&] {
    Status status = EndFileAt(end);
    return status.ok() ? Extend(today) : status;
  });
}

// What follows must be gone for good before rows are written there: a loss of power could mix the two.
Status DbfFile::EndFileAt(int64_t end) {
  unsynced_ = true;
  Status status = file_->WriteAt(end, std::string(1, dbf::kEndMark));
  if (status.ok()) status = file_->Truncate(end + 1);
  if (status.ok()) status = file_->Sync();
  return status;
}

Status DbfFile::Read(uint32_t number, char* row) const {
  if (number == 0 || number > Rows()) {
    return Status::Error(Fail::kNotFound, path_ + ": there is no row " + std::to_string(number));
  }
  if (number > written_) {
    std::memcpy(row, new_rows_.data() + (number - written_ - 1) * RowBytes(), RowBytes());
    return Status::Ok();
  }
  if (const char* changed = changed_.Find(number)) {
    std::memcpy(row, changed, RowBytes());
    return Status::Ok();
  }
  size_t count = 0;
  if (Status status = file_->ReadAt(PlaceOf(number), {row, RowBytes()}, count); !status.ok()) return status;
  return count == RowBytes() ? Status::Ok() : Status::Error(Fail::kIo, path_ + ": the file was cut while it was open");
}

Status DbfFile::ReadRows(uint32_t first, uint32_t count, std::string& bytes) const {
  bytes.clear();
  if (first > written_) {
    bytes = new_rows_.substr(std::min(new_rows_.size(), (first - written_ - 1) * RowBytes()), count * RowBytes());
    return Status::Ok();
  }
  const uint32_t rows = std::min({count, kRowsAtOnce, written_ - first + 1});
  bytes.resize(rows * RowBytes());
  size_t read = 0;
  if (Status status = file_->ReadAt(PlaceOf(first), bytes, read); !status.ok()) return status;
  if (read != bytes.size()) return Status::Error(Fail::kIo, path_ + ": the file was cut while it was open");
  for (uint32_t i = 0; i < rows && changed_.Count() > 0; ++i) {
    if (const char* changed = changed_.Find(first + i)) bytes.replace(i * RowBytes(), RowBytes(), changed, RowBytes());
  }
  return Status::Ok();
}

bool DbfFile::HasRoom() const {
  return new_rows_.size() + changed_.Count() * RowBytes() < kMaxWaitingBytes && Rows() < kMaxRows;
}

uint32_t DbfFile::Append(const char* row) {
  new_rows_.append(row, RowBytes());
  return Rows();
}

void DbfFile::Rewrite(uint32_t number, const char* row) {
  if (number > written_) {
    std::memcpy(new_rows_.data() + (number - written_ - 1) * RowBytes(), row, RowBytes());
  } else {
    changed_.Set(number, {row, RowBytes()});
  }
}

// Adjacent rows are written together.
Status DbfFile::WriteChangedRows() {
  if (changed_.Count() == 0) return Status::Ok();
  return WriteOurs([this] {
    const std::vector<ChangedRows::Row> rows = changed_.Sorted();
    std::string together;
    for (size_t from = 0, to = 0; from < rows.size(); from = to) {
      together.clear();
      for (to = from; to < rows.size() && rows[to].number - rows[from].number == to - from; ++to) {
        if (to > from && together.size() >= kWriteTogetherBytes) break;
        together.append(rows[to].bytes);
      }
      unsynced_ = true;
      if (Status status = file_->WriteAt(PlaceOf(rows[from].number), together); !status.ok()) {
        changed_.Keep(rows.data() + from, rows.data() + rows.size());
        return status;
      }
    }
    changed_.Clear();
    return Status::Ok();
  });
}

Status DbfFile::WriteNewRows(Day today) {
  if (new_rows_.empty() && !count_stale_) return Status::Ok();
  return WriteOurs([&] { return Extend(today); });
}

Status DbfFile::Extend(Day today) {
  if (!new_rows_.empty()) {
    const int64_t end = PlaceOf(written_ + 1);
    if (stuck_) {
      if (Status status = EndFileAt(end); !status.ok()) return status;
    }
    stuck_ = unsynced_ = count_stale_ = true;
    new_rows_.push_back(dbf::kEndMark);
    Status status = file_->WriteAt(end + 1, std::string_view(new_rows_).substr(1));
    new_rows_.pop_back();
    if (status.ok()) status = file_->WriteAt(end, std::string_view(new_rows_).substr(0, 1));
    if (!status.ok()) return status;
    written_ = Rows();
    new_rows_.clear();
    stuck_ = false;
  }
  if (!count_stale_) return Status::Ok();
  Status status = file_->WriteAt(dbf::kDatePlace, BuildDateAndCount(today, written_));
  if (status.ok()) count_stale_ = false;
  return status;
}

Status DbfFile::RestoreRow(uint32_t number, std::string_view row) {
  if (number == 0 || number > written_ || row.size() != RowBytes()) return Status::Ok();
  return WriteOurs([&] {
    unsynced_ = true;
    return file_->WriteAt(PlaceOf(number), row);
  });
}

Status DbfFile::Sync() {
  if (!unsynced_) return Status::Ok();
  Status status = file_->Sync();
  if (status.ok()) unsynced_ = false;
  return status;
}

Status DbfFile::CheckOurs() const {
  FileIdentity held, named;
  if (Status status = file_->Identify(held); !status.ok()) return status;
  if (held.size_bytes != known_.size_bytes || held.written_ns != known_.written_ns)
    return Status::Error(Fail::kRefused, path_ + ": was changed by another program while it was open");
  if (Status status = files_.Identify(path_, named); !status.ok()) return status;
  if (named.inode == held.inode) return Status::Ok();
  return Status::Error(Fail::kRefused, path_ + ": was replaced by another file while it was open");
}

}  // namespace vantry
