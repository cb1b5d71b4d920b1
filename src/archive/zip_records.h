// The records of a zip file: what stands before the data of an entry, the directory at the end, and the end itself.
// Bytes in, records out, and back; docs/formats/archive.md tells the layout.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/date_time.h"

namespace vantry {

struct ZipEntry {
  std::string name;
  uint32_t crc = 0;
  int64_t size = 0, packed_size = 0;
  int64_t offset = 0;     // Of its local header.
  int64_t written_s = 0;  // Of the log, since 1970.
  WallTime written;       // The same in local time.
  uint32_t mode = 0644;   // Its access rights.
};

// The two have the same length before and after CRC and sizes are known, as long as `size` does not change.
std::string LocalHeader(const ZipEntry& entry);
std::string DirectoryRecord(const ZipEntry& entry);

struct ZipEnd {
  int64_t entries = 0;
  int64_t directory_offset = 0, directory_size = 0;
};
// What follows the directory.
std::string EndRecords(const ZipEnd& end);

// Bytes at the end of a file that hold all that EndRecords makes, and a comment.
inline constexpr int64_t kMostEndBytes = 56 + 20 + 22 + 65'535;
// Reads the end of a file of `file_size` bytes from its last bytes. Empty if it is not the end of a zip in one piece,
// with nothing between its directory and the end.
std::optional<ZipEnd> ParseEnd(std::string_view tail, int64_t file_size);

// Reads the whole directory: name, CRC, sizes and place of each entry, in its order. Empty if it is not `end.entries`
// records of its length, or one lies outside the file.
std::optional<std::vector<ZipEntry>> ParseDirectory(std::string_view bytes, const ZipEnd& end);

}  // namespace vantry
