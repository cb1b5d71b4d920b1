// A dBase table file: rows by number, appended and rewritten. New and changed rows wait in memory until they are
// written, so that a flood of rows costs few system calls; reads through this class see them at once.
//
// Other programs may read the file at any moment, by the row count of the header or up to the end mark. So new rows are
// written after the end mark with an end mark of their own, then the first byte of the first new row takes the place
// of the old end mark, then the count follows: each way of reading sees all of them or none.
#pragma once

#include <memory>
#include <string>

#include "database/changed_rows.h"
#include "database/dbf_format.h"
#include "ports/data_files.h"

namespace vantry {

class DbfFile {
 public:
  // New rows are written when they take this much: most visits end while their row is among them.
  static constexpr size_t kWriteBytes = 2 << 20;
  static constexpr size_t kMaxChangedRows = 16 * 1024;  // No more changed rows than these should wait.
  static constexpr size_t kMaxWaitingBytes = 8 << 20;   // Rows that wait while the disk takes none.
  static constexpr uint32_t kMaxRows = 0xFFFF'FFF0;     // The format's limit: its count has 32 bits.

  explicit DbfFile(DataFiles& files) : files_(files) {}

  // Opens the table at `path`. With kCreating a missing or empty file becomes an empty table of this layout. A file
  // opened for writing is repaired: a count that is below or above the rows, a cut row at the end, a missing end mark.
  // `repair` tells what was wrong; it is empty if that is not worth telling.
  Status Open(const std::string& path, OpenFor purpose, const RowLayout& layout, Day today, std::string& repair);
  // Waiting rows are dropped; write them first.
  void Close();
  bool IsOpen() const { return file_ != nullptr; }

  const std::string& Path() const { return path_; }
  const RowLayout& Layout() const { return header_.layout; }
  uint32_t Rows() const { return written_ + static_cast<uint32_t>(new_rows_.size() / header_.layout.row_bytes); }

  // `row` has Layout().row_bytes bytes here and below. Rows are counted from 1.
  Status Read(uint32_t number, char* row) const;
  // The bytes of up to `count` rows from `first` on: at least one while there is one, none after the last.
  Status ReadRows(uint32_t first, uint32_t count, std::string& bytes) const;

  // False when the disk has taken no rows for so long that no more can wait.
  bool HasRoom() const;
  // Returns the new row's number.
  uint32_t Append(const char* row);
  void Rewrite(uint32_t number, const char* row);
  // So many new rows wait that they should be written. Never after a failure, so that a full disk is not tried for each
  // row.
  bool WantsWriting() const { return new_rows_.size() >= kWriteBytes && !stuck_; }
  bool Waiting() const { return !new_rows_.empty() || changed_.Count() > 0; }
  const ChangedRows& Rewritten() const { return changed_; }
  const std::string& NewRows() const { return new_rows_; }  // One after the other.

  // Whether something was changed since the last Sync that went well.
  bool Changed() const { return unsynced_ || count_stale_ || Waiting(); }
  // Writes the changed rows over the old ones. A program that ends in the middle leaves one of them half written, so
  // they must stand in another file by then.
  Status WriteChangedRows();
  Status WriteNewRows(Day today);
  // Writes this row over the old one at once; changes of it that wait stay.
  Status RestoreRow(uint32_t number, std::string_view row);
  Status Sync();

  Status Identify(FileIdentity& identity) const { return file_->Identify(identity); }
  // kRefused when another program has changed the file since it was last written here, or has put another file in its
  // place: nothing is written into it any more. kNotFound when the name is gone; the file itself still takes rows.
  Status CheckOurs() const;
  bool Ours() const { return CheckOurs().fail != Fail::kRefused; }

 private:
  int64_t PlaceOf(uint32_t number) const {
    return static_cast<int64_t>(header_.header_bytes) + int64_t{number - 1} * static_cast<int64_t>(RowBytes());
  }
  size_t RowBytes() const { return header_.layout.row_bytes; }
  Status ReadHeader();
  Status Create(const std::string& empty);
  Status EndFileAt(int64_t end);
  Status CountRows(int64_t size_bytes, uint32_t& rows) const;
  Status PutRight(int64_t size_bytes, Day today);
  // Runs `writes`, which returns Status, if the file is ours.
  template <class Writes>
  Status WriteOurs(Writes&& writes) {
    if (Status status = CheckOurs(); status.fail == Fail::kRefused) return status;
    Status status = writes();
    Know();
    return status;
  }
  // From now on the file as it is counts as ours.
  void Know() { (void)file_->Identify(known_); }
  Status Extend(Day today);

  DataFiles& files_;
  std::string path_;
  std::unique_ptr<DataFile> file_;
  FileIdentity known_;  // The file after our last write.
  TableHeader header_;
  uint32_t written_ = 0;   // Rows in the file.
  std::string new_rows_;   // After those.
  ChangedRows changed_;    // Of those in the file.
  bool stuck_ = false;     // The last writing of new rows failed: only WriteNewRows tries again.
  bool unsynced_ = false;  // Written since the last Sync.
  bool count_stale_ = false;
};

}  // namespace vantry
