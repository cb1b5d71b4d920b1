// The bytes of a table file, opened for reading and for writing.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "database/dbf_file.h"
#include "support/memory_data_files.h"

namespace {

using namespace vantry;

// Every row can be read, one by one and in pieces.
void ReadAll(const DbfFile& file) {
  std::string row(file.Layout().row_bytes, '\0'), piece, pieces;
  for (uint32_t first = 1; first <= file.Rows();) {
    if (!file.ReadRows(first, 100, piece).ok() || piece.empty() || piece.size() % row.size() != 0) std::abort();
    first += static_cast<uint32_t>(piece.size() / row.size());
    pieces += piece;
  }
  if (pieces.size() != file.Rows() * row.size()) std::abort();
  for (uint32_t i = 1; i <= std::min<uint32_t>(file.Rows(), 2000); ++i) {
    if (!file.Read(i, row.data()).ok() || pieces.compare((i - 1) * row.size(), row.size(), row) != 0) std::abort();
    for (const TableField& field : file.Layout().fields) {
      (void)FieldNumber(field, row.data());
      (void)FieldDate(field, row.data());
      if (FieldText(field, row.data()).size() != field.width) std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  RowLayout layout;
  if (!ParseFields({"RecordNo|C|9", "Hits|N|5", "Dated|D|8"}, layout).ok()) std::abort();
  const Day today{46000};
  MemoryDataFiles disk;
  std::string repair;
  disk.Put("/t", bytes);
  DbfFile file(disk);
  if (file.Open("/t", OpenFor::kReading, layout, today, repair).ok()) ReadAll(file);
  if (disk.Get("/t") != bytes) std::abort();
  if (!file.Open("/t", OpenFor::kCreating, layout, today, repair).ok()) {
    if (disk.Get("/t") != bytes) std::abort();
    return 0;
  }
  ReadAll(file);
  const uint32_t rows = file.Rows();
  const std::string right = disk.Get("/t");
  if (right.back() != dbf::kEndMark) std::abort();
  // What was put right is right, and takes rows.
  if (!file.Open("/t", OpenFor::kWriting, layout, today, repair).ok()) std::abort();
  if (file.Rows() != rows || !repair.empty() || disk.Get("/t") != right) std::abort();
  const std::string row(file.Layout().row_bytes, ' ');
  file.Append(row.data());
  if (!file.WriteNewRows(today).ok() || disk.Get("/t").size() != right.size() + row.size()) std::abort();
  if (!file.Open("/t", OpenFor::kReading, layout, today, repair).ok() || file.Rows() != rows + 1) std::abort();
  return 0;
}
