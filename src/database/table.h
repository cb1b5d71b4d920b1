// One dBase table with its keys: the operations that all of the history is built on. There is one record buffer and one
// current record, so no other operation on the table may come between a search and its Insert or Update.
#pragma once

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"
#include "database/dbf_file.h"
#include "database/first_rows.h"
#include "database/key_expression.h"
#include "database/row_view.h"
#include "database/table_connection.h"

namespace vantry {

class Table {
 public:
  // What operations return. Above 0: not done, but nothing is wrong. Below 0: something is wrong, see Problem.
  enum Result { kFailed = -1, kOk = 0, kNotFound = 1, kDuplicate = 2, kNoRoom = 3 };
  enum OpenMode { kReadWrite = 1, kReadOnly = 2 };

  Table(TableConnection& connection, std::string name)
      : connection_(connection), name_(std::move(name)), file_(connection.Files()) {}
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // Opens the table in this folder ("/" at its end). Field texts have the form "Name|Type|Width", key texts are as
  // ParseKey reads them. With kReadWrite a missing table is made, and one with other fields is refused with the first
  // difference; with kReadOnly the table must exist and have at least these fields. An existing table may have
  // `other_fields` instead. An index that does not fit is rebuilt. Does nothing if the table is open. LastStatus is
  // kNotFound if the table or the folder is missing, kFailed for anything else; Problem says why.
  void CreateTable(const std::string& folder, OpenMode mode, const std::vector<std::string>& fields,
                   const std::vector<std::string>& keys, const std::vector<std::string>& other_fields = {});
  // First makes changes durable, as far as the disk takes them.
  void CloseTable();
  bool IsOpen() const { return file_.IsOpen(); }

  // The Result of the last operation.
  int LastStatus() const { return last_status_; }
  // Why an operation returned kFailed: names the table or its file.
  const std::string& Problem() const { return problem_; }
  const std::string& Name() const { return name_; }

  // Searches and steps use this key from now on; 0, the first, after opening.
  void SelectKey(size_t key);

  // Builds the text of the selected key from values of its first parts, each cut or filled to its part's width. Valid
  // until the next call.
  std::string_view Key(std::span<const std::string_view> parts);
  std::string_view Key(std::initializer_list<std::string_view> parts) {
    return Key(std::span(parts.begin(), parts.size()));
  }

  // Makes the record with exactly this key the current one. If there is none, the current record stays. `row` is where
  // the record last was (CurrentRow), 0 if unknown: if that row has the key, no search is needed.
  int FindEqual(std::string_view key, uint32_t row = 0);
  // Makes the first record whose key begins with this text the current one. If there is none, the current record stays.
  int FindBeginning(std::string_view text);
  // Makes the first record at or after the key the current one. If there is none, the last record becomes current and
  // the result is kNotFound.
  int FindNearest(std::string_view key);
  // Moves to the next record whose key begins with this text. If there is none, the current record stays.
  int NextBeginning(std::string_view text);
  // The same from where a walk stood before other operations on the table; see Position.
  int NextBeginning(std::string_view text, const std::string& position);
  // Where the current record is in the order of the selected key.
  const std::string& Position() const { return position_; }
  // Moves to the next record (1) or the one before (-1). At the end the current record stays and the result is
  // kNotFound.
  int Step(int direction);

  // The record buffer. Fields go by their place in the field list; texts come without trailing blanks.
  void ClearRecord();
  size_t Width(size_t field) const { return FieldAt(field).width; }
  std::string_view Text(size_t field) const;
  int64_t Number(size_t field) const { return FieldNumber(FieldAt(field), row_.data()); }
  std::optional<Day> Date(size_t field) const { return FieldDate(FieldAt(field), row_.data()); }
  RowView Row() const { return {file_.Layout(), row_.data()}; }
  void SetText(size_t field, std::string_view text) { PutText(FieldAt(field), text, row_.data()); }
  void SetNumber(size_t field, int64_t number) { PutNumber(FieldAt(field), number, row_.data()); }
  void SetDate(size_t field, Day day) { PutDate(FieldAt(field), day, row_.data()); }
  // By the field's name; an unknown field reads as empty.
  std::string_view FieldValue(std::string_view name) const;

  // Adds the buffer as a new record, which becomes the current one. Fills in RecordNo if there is such a field.
  int Insert();
  // Rewrites the current record from the buffer; its RecordNo stays.
  int Update();
  // Marks the current record as deleted; there is no current record then.
  int Delete();
  // Makes changes durable.
  int Flush();

  uint32_t RowCount() const { return file_.Rows(); }
  // Reads the row of this number into the buffer; there is no current record then. False for a deleted or unreadable
  // row.
  bool LoadRow(uint32_t number) {
    current_ = 0;
    return file_.Read(number, row_.data()).ok() && row_.front() == dbf::kLiving;
  }
  // The bytes of up to `count` rows from `first` on, deleted ones included; none after the last.
  Status ReadRows(uint32_t first, uint32_t count, std::string& bytes) const;
  const RowLayout& Layout() const { return file_.Layout(); }
  // The row of the current record, 0 for none.
  uint32_t CurrentRow() const { return current_; }
  // Some rows are only in memory, and would be lost with the program.
  bool RowsWait() const { return file_.Waiting(); }
  // The new rows that are only in memory.
  const std::string& NewRows() const { return file_.NewRows(); }
  // Adds such rows as new records, except those whose unique keys are taken. False if some could not be added.
  bool AddRows(std::string_view rows);
  bool HasChangedRows() const { return file_.Rewritten().Count() > 0; }
  // Whether the table's file is still the open one and as it was left here; see DbfFile.
  Status CheckOurs() const { return file_.CheckOurs(); }
  // Some changes are not durable yet.
  bool Changed() const { return file_.Changed(); }

 private:
  friend class TableConnection;
  struct TableKey {
    KeyDeclaration declaration;
    int tree = 0;
    bool always_new = false;  // Contains RecordNo, so no two rows share it.
    std::string stored;       // Of the row that is being added or updated.
    std::string replaced;     // What it takes the place of.
  };

  int Done(int result) { return last_status_ = result; }
  int Failed(Status status);
  Status OpenFile(const std::string& folder, OpenMode mode, const std::vector<std::string>& fields,
                  const std::vector<std::string>& other_fields);
  Status ReadKeys(const std::vector<std::string>& keys);
  Status OpenIndex();
  bool IndexFits(const TableStamp& stamp) const;
  Status OpenTrees();
  Status BuildIndex();
  uint32_t IndexRows(uint32_t first, std::string& rows, uint32_t& torn);
  void ApplyRedo(uint32_t number, std::string_view bytes);
  TableStamp Stamp() const;

  const TableField& FieldAt(size_t field) const { return file_.Layout().fields[field]; }
  void StoredKey(const TableKey& key, const char* row, uint32_t number, std::string& stored) const;
  void StoredText(const TableKey& key, std::string_view text, std::string& stored) const;
  int Search(Seek how, const std::string& stored, std::string_view prefix = {});
  Status Load(const FoundKey& found);
  bool LoadFrom(uint32_t row, const std::string& beginning);
  Status FindTaken(const TableKey& key, const std::string& stored);
  void Rewrite();
  void HasFlushed();
  void TellFailure(const Status& status);

  TableConnection& connection_;
  std::string name_;
  DbfFile file_;
  OpenMode mode_ = kReadWrite;
  std::vector<TableKey> keys_;
  std::string key_texts_;  // All declarations, as the stamp keeps them.
  size_t selected_ = 0;
  std::optional<size_t> record_field_;  // RecordNo.
  uint32_t next_record_ = 1;
  uint32_t durable_rows_ = 0;  // A loss of power takes none of these; later rows may be holes it has left.

  std::string row_;       // The buffer.
  uint32_t current_ = 0;  // Row number of the current record, 0 for none.
  std::string position_;  // Its stored key in the selected order.
  std::string missing_;   // The stored first key that the last FindEqual did not find, until an insertion.
  std::string absent_;    // No stored first key begins with this, likewise; empty if unknown.
  FirstRows first_rows_;  // By the beginnings of stored first keys that FindBeginning was asked for.
  std::string key_text_, sought_, scratch_, old_row_, read_row_;
  FoundKey found_;
  int last_status_ = kNotFound;
  std::string problem_;
  size_t changed_limit_ = DbfFile::kMaxChangedRows;
  uint32_t lost_rows_ = 0;  // Refused for lack of room since the disk last took rows.
};

}  // namespace vantry
