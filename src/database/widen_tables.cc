#include "database/widen_tables.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "database/dbf_format.h"
#include "database/index_stamp.h"
#include "database/schema.h"
#include "database/table_connection.h"

namespace vantry {
namespace {

constexpr size_t kBlockBytes = 1 << 20;

struct WidenedTable {
  std::string name, path, beside;
  RowLayout narrow, wide;
  uint32_t rows = 0;
};

// A stop in the middle leaves rows that only the program can put right, and only by the old form.
Status CheckStopped(const WidenJob& job) {
  std::unique_ptr<DataFile> file;
  Status status = job.files.Open(job.folder + std::string(TableConnection::kStampName), OpenFor::kReading, file);
  if (status.fail == Fail::kNotFound) return Status::Ok();
  std::string bytes(2 * kStampPlaceBytes, '\0');
  size_t count = 0;
  if (status.ok()) status = file->ReadAt(0, bytes, count);
  if (!status.ok()) return status;
  bytes.resize(count);
  const auto stamp = ParseStampFile(bytes);
  if (stamp && stamp->closed) return Status::Ok();
  return Status::Error(Fail::kRefused, "Vantry did not stop cleanly in " + job.folder +
                                           ". Start it, stop it, and then widen its tables.");
}

Status ReadTableHeader(DataFile& file, const std::string& path, TableHeader& header) {
  std::string bytes(dbf::kMaxHeaderBytes, '\0');
  size_t count = 0;
  Status status = file.ReadAt(0, bytes, count);
  if (!status.ok()) return status;
  status = ParseHeader(std::string_view(bytes).substr(0, count), header);
  if (!status.ok()) status.text = path + " " + status.text;
  return status;
}

// Copies the rows into their new places in a block.
void WidenRows(const WidenedTable& table, std::string_view from, std::string& to) {
  const size_t narrow = table.narrow.row_bytes, wide = table.wide.row_bytes;
  to.assign(from.size() / narrow * wide, ' ');
  for (size_t row = 0; row * narrow < from.size(); ++row) {
    const char* old_row = from.data() + row * narrow;
    char* new_row = to.data() + row * wide;
    new_row[0] = old_row[0];
    for (size_t i = 0; i < table.narrow.fields.size(); ++i) {
      const TableField& field = table.narrow.fields[i];
      std::memcpy(new_row + table.wide.fields[i].offset, old_row + field.offset, field.width);
    }
  }
}

Status WriteBeside(const WidenJob& job, DataFile& old_file, size_t first_row, const WidenedTable& table) {
  std::unique_ptr<DataFile> file;
  Status status = job.files.Open(table.beside, OpenFor::kCreating, file);
  // What an interrupted run has left.
  if (status.ok()) status = file->Truncate(0);
  const std::string header = BuildHeader(table.wide, job.today, table.rows);
  if (status.ok()) status = file->WriteAt(0, header);
  const size_t narrow = table.narrow.row_bytes;
  const auto rows_at_once = static_cast<uint32_t>(kBlockBytes / narrow);
  auto at = static_cast<int64_t>(header.size());
  std::string from, to;
  for (uint32_t done = 0; status.ok() && done < table.rows;) {
    from.resize(std::min(rows_at_once, table.rows - done) * narrow);
    size_t count = 0;
    status = old_file.ReadAt(static_cast<int64_t>(first_row + size_t{done} * narrow), from, count);
    if (status.ok() && count != from.size()) status = Status::Error(Fail::kBadData, table.path + " ends too early");
    if (!status.ok()) break;
    WidenRows(table, from, to);
    status = file->WriteAt(at, to);
    at += static_cast<int64_t>(to.size());
    done += static_cast<uint32_t>(from.size() / narrow);
  }
  if (status.ok()) status = file->WriteAt(at, std::string(1, dbf::kEndMark));
  if (status.ok()) status = file->Sync();
  return status;
}

// Leaves `table.name` empty when there is nothing to do.
Status WidenOne(const WidenJob& job, const TableSchema& schema, WidenedTable& table) {
  table.path = job.folder + schema.name + ".DBF";
  table.beside = table.path + ".wide";
  std::unique_ptr<DataFile> file;
  Status status = job.files.Open(table.path, OpenFor::kReading, file);
  if (status.fail == Fail::kNotFound) return Status::Ok();
  TableHeader header;
  if (status.ok()) status = ReadTableHeader(*file, table.path, header);
  if (status.ok()) status = ParseFields(schema.fields, table.narrow);
  if (status.ok()) status = ParseFields(WideFields(schema), table.wide);
  if (!status.ok() || FirstDifference(table.wide, header.layout).empty()) return status;
  if (const std::string difference = FirstDifference(table.narrow, header.layout); !difference.empty()) {
    return Status::Error(Fail::kBadData, table.path + " is not the table that Vantry writes: " + difference);
  }
  table.rows = header.rows;
  status = WriteBeside(job, *file, header.header_bytes, table);
  if (status.ok()) table.name = schema.name;
  return status;
}

}  // namespace

Status WidenTables(const WidenJob& job) {
  Status status = CheckStopped(job);
  std::vector<WidenedTable> tables;
  for (const TableSchema* schema : HistorySchemas()) {
    if (!status.ok()) break;
    tables.emplace_back();
    status = WidenOne(job, *schema, tables.back());
  }
  if (!status.ok()) {
    for (const WidenedTable& table : tables) (void)job.files.Remove(table.beside);
    return status;
  }
  for (const WidenedTable& table : tables) {
    if (table.name.empty()) continue;
    if (status = job.files.Replace(table.beside, table.path); !status.ok()) return status;
    job.tell(table.name + ": " + std::to_string(table.rows) + " rows");
  }
  return status;
}

}  // namespace vantry
