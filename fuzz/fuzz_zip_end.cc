// The end of a zip that an archive is to be continued from: its end records and its directory.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "archive/zip_records.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  // The input is a whole small file.
  const auto file_size = static_cast<int64_t>(size);
  const auto end = ParseEnd(bytes, file_size);
  if (!end) return 0;
  const int64_t behind = end->directory_offset + end->directory_size;
  if (end->directory_offset < 0 || end->directory_size < 0 || behind > file_size) std::abort();
  const auto entries = ParseDirectory(
      bytes.substr(static_cast<size_t>(end->directory_offset), static_cast<size_t>(end->directory_size)), *end);
  if (!entries) return 0;
  std::string directory;
  for (const ZipEntry& entry : *entries) {
    if (entry.offset < 0 || entry.offset >= end->directory_offset || entry.size < 0) std::abort();
    directory += DirectoryRecord(entry);
  }
  // What is written of it is read as the same.
  const ZipEnd again{end->entries, end->directory_offset, static_cast<int64_t>(directory.size())};
  const auto read = ParseDirectory(directory, again);
  if (!read || read->size() != entries->size()) std::abort();
  for (size_t i = 0; i < read->size(); ++i) {
    const ZipEntry &a = (*read)[i], &b = (*entries)[i];
    if (a.name != b.name || a.crc != b.crc || a.size != b.size || a.packed_size != b.packed_size ||
        a.offset != b.offset) {
      std::abort();
    }
  }
  const auto tail = ParseEnd(directory + EndRecords(again), again.directory_offset + again.directory_size +
                                                                static_cast<int64_t>(EndRecords(again).size()));
  if (!tail || tail->directory_size != again.directory_size) std::abort();
  return 0;
}
